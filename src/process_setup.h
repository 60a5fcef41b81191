#pragma once

namespace quarrypack {

// Makes it safe to write movies in this process, whatever started it. Must be called before any
// file is opened.
void prepareProcess();

}  // namespace quarrypack
