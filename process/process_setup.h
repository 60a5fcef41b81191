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

}  // namespace quarrypack::process
