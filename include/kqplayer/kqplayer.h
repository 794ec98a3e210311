/// @file
/// Everything that a host of the player includes.
#pragma once

#include "com.h"
#include "identifiers.h"
#include "player.h"
#include "records.h"
#include "streams.h"
#include "version.h"
