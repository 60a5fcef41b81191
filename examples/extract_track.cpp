// Writes the samples of one track, one after another, to the standard output: raw sound, subtitles,
// pictures without their container.
// usage: extract_track MOVIE HANDLER          HANDLER: vide, soun, clcp, ...

#include <iostream>
#include <string_view>
#include <vector>

#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/error_text.h"
#include "kav/exception.h"
#include "kav/movie.h"

namespace kav = norvik::kav;

namespace {

void extract(const char* path, kav::FourCc handler) {
  using quell::kaf::OpenMode;
  kav::Movie movie(new quell::kafpkgutil::KavStream(path, OpenMode::kReadOnly | OpenMode::kBinary));
  std::vector<std::uint8_t> bytes;
  for (const kav::Track& track : movie.tracks()) {
    if (track.handlerType != handler) continue;
    for (const kav::Sample& sample : movie.samples({.trackIndex = track.index})) {
      bytes.resize(sample.info.size);
      movie.read(sample, bytes);
      std::cout.write(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<std::streamsize>(bytes.size()));
    }
    return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || std::string_view(argv[2]).size() != 4) {
    std::cerr << "usage: extract_track MOVIE HANDLER\n";
    return 2;
  }
  try {
    kav::FourCc handler = 0;
    for (const char c : std::string_view(argv[2])) {
      handler = handler << 8 | static_cast<unsigned char>(c);
    }
    extract(argv[1], handler);
  } catch (const kav::Exception& exception) {
    std::cerr << "extract_track: " << kav::errorText(exception.code()) << '\n';
    return 1;
  }
  return 0;
}
