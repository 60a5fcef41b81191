// The captions of a movie, from its caption tracks and from its pictures.

#include "kav/exception.h"
#include "sources/film_file.h"
#include "sources/picture_source.h"
#include "sources/track_source.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/memory_stream.h"

using namespace quarrypack::sources;
using quarrypack::captions::FieldPairs;
using quarrypack::captions::kLatestTime;
using quarrypack::test::check;
using quarrypack::test::MemoryStream;

namespace {

void checkPairs(const CaptionPairs& pairs, bool areSorted) {
  check(pairs.end >= -kLatestTime && pairs.end <= kLatestTime, "the film ends");
  for (const FieldPairs& field : pairs.fields) {
    check(field.size() <= kMostPairs, "there are as many pairs as allowed");
    for (std::size_t i = 0; i < field.size(); ++i) {
      check(field[i].time >= -kLatestTime && field[i].time <= kLatestTime, "times are plausible");
      check(!areSorted || i == 0 || field[i].time >= field[i - 1].time, "pictures are in order");
    }
  }
}

template <class Read>
void readAll(const MemoryStream& file, Read read) {
  try {
    FilmFile film(MemoryStream::create(file.bytes()));
    read(film);
  } catch (const norvik::kav::Exception&) {
    return;
  } catch (const SourceError&) {
    return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto file = MemoryStream::create({data, data + size});
  readAll(*file, [](FilmFile& film) { checkPairs(readTrackPairs(film), false); });
  readAll(*file, [](FilmFile& film) { checkPairs(readPicturePairs(film), true); });
  return 0;
}
