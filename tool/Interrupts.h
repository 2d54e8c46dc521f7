#pragma once

namespace tool {

/// Keeps the signals that ask for an end, INT, TERM, HUP, QUIT and the like, unless they were ignored already, to be
/// looked for between steps. The programs that the library runs ignore them, so that a key on the terminal ends none of
/// them halfway: a killed fdisk reads as a medium without partitions, and its mounts are cleared then.
void holdInterrupts();

/// @throws Failure once one of these signals came. It stays pending: cleaning up looks for none. The library's long
/// waits end with it, too, also the one for the file that holds all scans.
void stopIfInterrupted();

} // namespace tool
