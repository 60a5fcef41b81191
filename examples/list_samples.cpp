// Lists the samples of a movie, regular or fragmented, as they follow each other in time.
// usage: list_samples MOVIE

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <iostream>
#include <memory>

#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/exception.h"
#include "kav/reader.h"

namespace {

namespace kav = norvik::kav;
using quell::kaf::OpenMode;
using quell::kafpkgutil::KavStream;

// The functions of the reader answer with a code; 0 is success.
void check(std::uint32_t code) {
  if (code != 0) throw kav::Exception(code);
}

struct Close {
  void operator()(kav::NorvikKavReader* reader) const { kav::closeReader(reader); }
  void operator()(kav::NorvikKavSampleIterator* iterator) const {
    kav::closeSampleIterator(iterator);
  }
  void operator()(kav::NorvikKavSample* sample) const { kav::closeSample(sample); }
};

void list(const kav::NorvikKavSample* sample) {
  kav::NorvikKavSampleInfo info;
  kav::NorvikKavSampleLocation location;
  check(kav::getSampleInfo(sample, &info));
  check(kav::getSampleLocation(sample, &location));
  const double seconds = static_cast<double>(info.decodingTime) / info.timescale;
  std::cout << "track " << location.trackIndex + 1 << " at " << seconds << " s: ";
  if (info.flags == kav::kSampleIsGap) {
    std::cout << "gap\n";
    return;
  }
  std::cout << info.size << " bytes at " << location.fileOffset;
  if ((info.flags & kav::kSampleIsSync) != 0) std::cout << ", sync";
  if (location.fragmentSequence != 0) std::cout << ", fragment " << location.fragmentSequence;
  std::cout << '\n';
}

void listMovie(const char* path) {
  // Streams are shared by reference count: this pointer and the reader hold one share each.
  const boost::intrusive_ptr<KavStream> stream(
      new KavStream(path, OpenMode::kReadOnly | OpenMode::kBinary));
  kav::NorvikKavReader* reader = nullptr;
  check(kav::openReader(stream.get(), {}, &reader));
  const std::unique_ptr<kav::NorvikKavReader, Close> ownedReader(reader);

  kav::NorvikKavSampleIterator* iterator = nullptr;
  check(kav::createSampleIterator(reader, &iterator));
  const std::unique_ptr<kav::NorvikKavSampleIterator, Close> ownedIterator(iterator);
  for (;;) {
    kav::NorvikKavSample* sample = nullptr;
    check(kav::nextSample(iterator, &sample));
    if (sample == nullptr) return;
    const std::unique_ptr<kav::NorvikKavSample, Close> ownedSample(sample);
    list(sample);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: list_samples MOVIE\n";
    return 2;
  }
  try {
    listMovie(argv[1]);
  } catch (const kav::Exception& exception) {
    std::cerr << "list_samples: error " << exception.code() << '\n';
    return 1;
  }
  return 0;
}
