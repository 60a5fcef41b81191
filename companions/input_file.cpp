#include "companions/input_file.h"

#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/error_text.h"
#include "kav/exception.h"
#include "sources/caption_pairs.h"

namespace quarrypack::companions {
namespace {

namespace kav = norvik::kav;
using sources::SourceError;

kav::IStreamPtr openFile(const std::string& path) {
  kav::IStreamPtr stream(new quell::kafpkgutil::KavStream(
      path, quell::kaf::OpenMode::kReadOnly | quell::kaf::OpenMode::kBinary));
  stream->open();
  return stream;
}

}  // namespace

void readInputFile(const std::string& path,
                   const std::function<void(const kav::IStreamPtr& stream)>& read) {
  try {
    read(openFile(path));
  } catch (const kav::Exception& exception) {
    throw SourceError("'" + path + "': " + std::string(kav::errorText(exception.code())));
  } catch (const SourceError& error) {
    throw SourceError("'" + path + "': " + error.what());
  }
}

}  // namespace quarrypack::companions
