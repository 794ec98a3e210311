/// @file
/// The picture before the current one of a stream.
#pragma once

struct IMediaStream;

/// Moves a video stream to the picture before its current one, unless that begins before a time.
/// @param dLeast stream seconds, before which it does not go
/// @return where the stream stands now, in stream seconds
double StepStreamBack(IMediaStream& stream, double dLeast);
