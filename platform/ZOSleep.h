#pragma once

/// Blocks the calling thread for that many milliseconds; a signal does not shorten the wait.
///
/// @param milliseconds the wait, measured on the monotonic clock (POSIX clock_nanosleep).
/// @param file, line   where the caller stands, for an implementation that traces its waits; not used by this one.
void ZOSLEEP_InTeRnAl(unsigned long milliseconds, const char* file, int line);
