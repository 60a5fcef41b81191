#include "companions/captions/caption_output.h"

#include <ostream>

#include "companions/command_line.h"
#include "companions/output_file.h"

namespace quarrypack::companions {
namespace {

std::string pathOf(const NamedDocument& document, const CaptionOptions& options) {
  return document.channel ? pathOfChannel(options.output, *document.channel) : options.output;
}

}  // namespace

std::string pathOfChannel(const std::string& path, captions::Channel channel) {
  const std::size_t name = path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1;
  const std::size_t dot = path.rfind('.');
  // A dot at the beginning of a name hides the file and does not begin an extension.
  const bool hasExtension = dot != std::string::npos && dot > name;
  const std::size_t end = hasExtension ? dot : path.size();
  return path.substr(0, end) + '.' + std::string(captions::channelName(channel)) + path.substr(end);
}

void writeDocuments(const std::vector<NamedDocument>& documents, const CaptionOptions& options) {
  if (options.output.empty()) {
    return writeStandardOutput([&](std::ostream& out) {
      for (const NamedDocument& one : documents) options.format->write(one.document, out);
    });
  }
  for (const NamedDocument& one : documents) {
    if (areSameFile(options.input, pathOf(one, options))) {
      throw UsageError("the output '" + pathOf(one, options) + "' is the file that is read");
    }
  }
  for (const NamedDocument& one : documents) {
    writeTextFile(pathOf(one, options),
                  [&](std::ostream& out) { options.format->write(one.document, out); });
  }
}

}  // namespace quarrypack::companions
