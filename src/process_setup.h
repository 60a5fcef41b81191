#pragma once

namespace quarrypack {

// Makes the process safe to write movies in, whatever it was started from. To be called before any
// file is opened.
void prepareProcess();

}  // namespace quarrypack
