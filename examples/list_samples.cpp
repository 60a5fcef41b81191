// Lists the samples of a movie, regular or fragmented, as they follow each other in time.
// usage: list_samples MOVIE

#include <iostream>

#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/error_text.h"
#include "kav/exception.h"
#include "kav/movie.h"

namespace {

namespace kav = norvik::kav;
using quell::kaf::OpenMode;
using quell::kafpkgutil::KavStream;

void list(const kav::Sample& sample) {
  const double seconds = static_cast<double>(sample.info.decodingTime) / sample.info.timescale;
  std::cout << "track " << sample.track->index + 1 << " at " << seconds << " s: ";
  if (sample.isGap()) {
    std::cout << "gap\n";
    return;
  }
  std::cout << sample.info.size << " bytes at " << sample.fileOffset;
  if (sample.isSync()) std::cout << ", sync";
  if (sample.isOfFragment) std::cout << ", fragment " << sample.fragmentSequence;
  std::cout << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: list_samples MOVIE\n";
    return 2;
  }
  try {
    kav::Movie movie(new KavStream(argv[1], OpenMode::kReadOnly | OpenMode::kBinary));
    for (const kav::Sample& sample : movie.samples()) list(sample);
  } catch (const kav::Exception& exception) {
    std::cerr << "list_samples: " << kav::errorText(exception.code()) << '\n';
    return 1;
  }
  return 0;
}
