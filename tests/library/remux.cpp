#include "tests/library/remux.h"

#include <memory>
#include <ostream>
#include <tuple>

#include "kav/exception.h"
#include "kav/reader.h"

namespace quarrypack::test {
namespace {

using namespace norvik::kav;

void check(std::uint32_t code) {
  if (code != 0) throw Exception(code);
}

struct Closer {
  void operator()(NorvikKavReader* reader) const { closeReader(reader); }
  void operator()(NorvikKavSampleIterator* iterator) const { closeSampleIterator(iterator); }
  void operator()(NorvikKavSample* sample) const { closeSample(sample); }
};
template <class Handle>
using Owned = std::unique_ptr<Handle, Closer>;

Owned<NorvikKavReader> open(NorvikIStream& movie, bool ignoreEditLists) {
  NorvikKavReader* reader = nullptr;
  NorvikKavReaderOptions options;
  options.ignoreEditLists = ignoreEditLists;
  check(openReader(&movie, options, &reader));
  return Owned<NorvikKavReader>(reader);
}

// Hands every sample of the movie, merged by time, to use.
template <class Use>
void forEachSample(NorvikKavReader* reader, Use use) {
  NorvikKavSampleIterator* created = nullptr;
  check(createSampleIterator(reader, &created));
  const Owned<NorvikKavSampleIterator> iterator(created);
  for (;;) {
    NorvikKavSample* next = nullptr;
    check(nextSample(iterator.get(), &next));
    if (next == nullptr) return;
    const Owned<NorvikKavSample> sample(next);
    NorvikKavSampleInfo info;
    NorvikKavSampleLocation location;
    check(getSampleInfo(next, &info));
    check(getSampleLocation(next, &location));
    LibrarySample result{.decodingTime = info.decodingTime,
                         .compositionOffset = info.compositionOffset,
                         .isSync = (info.flags & kSampleIsSync) != 0,
                         .isGap = info.flags == kSampleIsGap,
                         .dependencies = location.dependencies,
                         .descriptionIndex = location.descriptionIndex,
                         .fragmentSequence = location.fragmentSequence,
                         .bytes = Bytes(info.size)};
    if (info.size != 0) {
      check(readBytes(reader, location.fileOffset, result.bytes.data(), result.bytes.size()));
    }
    use(location.trackIndex, std::move(result));
  }
}

NorvikKavTrackConfiguration configurationOf(NorvikKavReader* reader, std::uint32_t index,
                                            const NorvikKavTrackTotals& totals) {
  NorvikKavTrackConfiguration track;
  check(getTrackInfo(reader, index, &track.info));
  check(getTrackHandler(reader, index, &track.handlerType));
  track.handlerName.resize(track.info.handlerNameLength);
  check(getTrackName(reader, index, track.handlerName.data()));
  if (!track.handlerName.empty()) track.handlerName.pop_back();
  track.sampleCount = totals.sampleCount;
  track.gapCount = totals.gapCount;
  check(getSampleDescriptionCount(reader, index, &track.descriptionCount));
  for (std::uint32_t i = 1; i <= track.descriptionCount; ++i) {
    const NorvikKavSampleDescription* description = nullptr;
    NorvikKavSampleDescInfo info;
    check(getSampleDescriptionHandle(reader, index, i, &description));
    check(getSampleDescriptionInfo(description, &info));
    track.descriptionLength = std::max(track.descriptionLength, info.headerLength);
  }
  return track;
}

}  // namespace

bool LibrarySample::operator==(const LibrarySample& other) const {
  const auto said = [](const LibrarySample& sample) {
    return std::tie(sample.decodingTime, sample.compositionOffset, sample.isSync, sample.isGap,
                    sample.dependencies, sample.descriptionIndex, sample.bytes);
  };
  return said(*this) == said(other);
}

void PrintTo(const LibrarySample& sample, std::ostream* out) {
  *out << "time " << sample.decodingTime << " + " << sample.compositionOffset
       << (sample.isSync ? " sync" : "") << (sample.isGap ? " gap" : "") << " sdtp "
       << sample.dependencies << " description " << sample.descriptionIndex << ", "
       << sample.bytes.size() << " bytes";
}

std::vector<std::vector<LibrarySample>> readTracks(NorvikIStream& movie, bool ignoreEditLists) {
  const auto reader = open(movie, ignoreEditLists);
  NorvikKavMovieInfo info;
  check(getMovieInfo(reader.get(), &info));
  std::vector<std::vector<LibrarySample>> tracks(info.trackCount);
  forEachSample(reader.get(), [&](std::uint32_t track, LibrarySample sample) {
    tracks[track].push_back(std::move(sample));
  });
  return tracks;
}

void remux(NorvikIStream& from, NorvikIOStream& to, const RemuxOptions& options) {
  const auto reader = open(from, options.ignoreEditLists);
  NorvikKavMovieInfo movie;
  check(getMovieInfo(reader.get(), &movie));
  NorvikKavWriterConfiguration configuration;
  configuration.timescale = movie.timescale;
  configuration.fragmented = options.fragmented;
  configuration.fragmentDuration = options.fragmentDuration;
  configuration.randomAccess = options.randomAccess;
  Writer writer(&to, configuration);

  std::vector<NorvikKavTrackTotals> totals(movie.trackCount);
  check(countSamples(reader.get(), UINT64_MAX, totals.data()));
  for (std::uint32_t i = 0; i < movie.trackCount; ++i) {
    const NorvikKavTrackConfiguration track = configurationOf(reader.get(), i, totals[i]);
    const std::uint32_t number = writer.addTrack(track);
    for (std::uint32_t d = 1; d <= track.descriptionCount; ++d) {
      const NorvikKavSampleDescription* description = nullptr;
      check(getSampleDescriptionHandle(reader.get(), i, d, &description));
      writer.addSampleDescription(number, description);
    }
  }
  forEachSample(reader.get(), [&](std::uint32_t track, const LibrarySample& sample) {
    const std::uint32_t flags = sample.isGap ? kSampleIsGap
                                             : (sample.isSync ? kSampleIsSync : 0) |
                                                   sample.dependencies << kSampleDependencyShift;
    writer.addSample({.trackNumber = track + 1,
                      .descriptionIndex = std::max(sample.descriptionIndex, 1U),
                      .decodingTime = sample.decodingTime,
                      .compositionOffset = sample.compositionOffset,
                      .flags = flags,
                      .size = static_cast<std::uint32_t>(sample.bytes.size()),
                      .data = sample.bytes.data()});
  });
  writer.finish();
}

}  // namespace quarrypack::test
