#pragma once

#include <string>

#include "tool/Failure.h"

class KRScsiMODiskDrive;

namespace tool {

/// Installs the library's callback, whose lines are written with time, level and device identifier.
///
/// @param file where they go: a path, "-" for standard error, empty for nowhere. A FIFO is given lines as long as it
///        takes them at once; that lines were lost is told on standard error.
/// @param toStandardError whether they go there as well.
/// @throws Failure where the file can't be opened for writing, or is a FIFO that nobody reads.
void listenToLibrary(const std::string& file, bool toStandardError);

/// While one of these lives, what the library and the programs that it runs say on standard output and standard
/// error is kept back: the scan prints, and mount and umount tell their reasons there. Standard input is empty: at a
/// terminal parted asks about odd partition tables, and nobody would see the question.
class LibraryCall {
public:
    LibraryCall();
    LibraryCall(const LibraryCall&) = delete;
    LibraryCall& operator=(const LibraryCall&) = delete;
    ~LibraryCall();
};

/// What is known about a failure of the library that left no code: the last lines that it logged, then what the
/// programs said during the `LibraryCall`. @param subject what the text begins with.
Failure libraryFailure(const std::string& subject);

/// The same for an operation of a drive, whose code and text it tells where there is one.
Failure libraryFailure(const std::string& subject, const KRScsiMODiskDrive& drive);

} // namespace tool
