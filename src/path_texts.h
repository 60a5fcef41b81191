#pragma once

#include <string>

namespace quarrypack {

// Paths are kept and compared as texts in the generic form, with forward slashes. The system's own
// path type is not used for that, because its result differs between systems, and settings files
// made on one system are used on another. All operations below take texts in this form.
std::string genericPath(std::string path);

// Starts with a separator, with or without a drive name before it.
bool hasRootDirectory(const std::string& path);

// The part before the last separator; empty without one. A root is its own folder.
std::string folderOf(const std::string& path);

std::string joinedPath(const std::string& folder, const std::string& name);

// Turns a value of the settings into a path: a relative one counts from the folder of the base
// file, or from the working directory without a base file. A base file without a folder part leaves
// the value relative.
std::string resolveRelativePath(const std::string& value, const std::string& baseFile);

// The output path of a run that names none: "Converted_" and the input's name, with the extension
// "mp4", beside the input.
std::string defaultOutputPath(const std::string& inputPath);

}  // namespace quarrypack
