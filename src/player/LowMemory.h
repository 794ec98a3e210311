/// @file
/// Memory below 4 GiB, for what a 32-bit callback argument must be able to address.
#pragma once

#include <cstddef>

/// @return zeroed memory in the low 4 GiB of the address space, or null. Freed with FreeLow().
void* AllocateLow(std::size_t nBytes) noexcept;
void FreeLow(void* pMemory, std::size_t nBytes) noexcept;
