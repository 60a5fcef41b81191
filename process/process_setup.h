#pragma once

namespace quarrypack::process {

// What happens when the reader of a pipe that the program writes to has gone.
enum class LostReader {
  failsWrites,  // the write fails like any other
  endsProcess,  // SIGPIPE acts as the parent process left it, as is usual for a filter
};

// Makes it safe to write files in this process, however it was started: no file takes the place of
// a closed standard stream, and exceeding a limit on file sizes is a failed write. Must be called
// before any file is opened.
void prepareProcess(LostReader lostReader = LostReader::failsWrites);

// Lets the memory of large blocks return to the system whenever they are freed. The GNU allocator
// returns only blocks that are larger than any freed before, so a program that works in phases
// keeps memory of all of them. Does nothing with other allocators.
void returnLargeBlocks();

}  // namespace quarrypack::process
