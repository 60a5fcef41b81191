#pragma once

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kav/impl/reading/reader.h"
#include "tests/support/box_builders.h"
#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"
#include "tests/support/media_samples.h"
#include "tests/support/movie_builder.h"

// What the tests of the iterators share: a small track, and samples as columns.

namespace norvik::kav::impl {

using namespace quarrypack::test;

using Column = std::vector<std::uint64_t>;

using Samples = std::vector<Sample>;

// All that an iterator has to give. hasNext must tell the truth all the way.
inline Samples drain(SampleIterator& iterator) {
  Samples samples;
  while (iterator.hasNext()) {
    if (!iterator.take(samples.emplace_back())) {
      throw std::logic_error("a sample was promised and not given");
    }
  }
  if (iterator.next() != nullptr) throw std::logic_error("a sample was given and not promised");
  return samples;
}

template <class Value>
Column columnOf(const Samples& samples, Value value) {
  Column column;
  for (const Sample& sample : samples) column.push_back(value(sample));
  return column;
}
inline Column timesOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.info.decodingTime; });
}
inline Column sizesOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.info.size; });
}
inline Column flagsOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.info.flags; });
}
inline Column offsetsOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.fileOffset; });
}
inline Column compositionOffsetsOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.info.compositionOffset; });
}
inline Column trackIdsOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.info.trackId; });
}
inline Column sequencesOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.fragmentSequence; });
}
inline Column descriptionsOf(const Samples& samples) {
  return columnOf(samples, [](const Sample& sample) { return sample.descriptionIndex; });
}

// A track of samples of 1, 2, 3, ... bytes, which lie in chunks of 2 and 1 samples in turn.
inline MovieTrack countingTrack(std::size_t count, std::uint32_t timescale = 1000,
                                std::uint32_t duration = 10) {
  MovieTrack track = otherTrack("text", genericEntry("text"), count);
  track.timescale = timescale;
  track.samplesPerChunk = {2, 1};
  for (std::size_t i = 0; i < count; ++i) {
    track.samples[i].bytes = Bytes(i + 1, static_cast<std::uint8_t>(0xA0 + i));
    track.samples[i].duration = duration;
  }
  return track;
}

inline const std::string kTables = "moov/trak[1]/mdia/minf/stbl/";

}  // namespace norvik::kav::impl
