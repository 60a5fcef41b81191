#include "tests/support/movie_tracks.h"

#include <algorithm>

#include "tests/support/media_samples.h"

namespace quarrypack::test {
namespace {

Bytes zeroEnded(const std::string& name) { return concat({text(name), u8(0)}); }

// The places in presentation order of the pictures, which are given in decoding order: in each
// group of pictures an anchor is sent before the pictures between it and the previous anchor.
std::vector<std::size_t> presentationPlaces(std::size_t count, std::size_t group,
                                            std::size_t between) {
  std::vector<std::size_t> places;
  for (std::size_t start = 0; start < count; start += group) {
    const std::size_t end = std::min(start + group, count);
    places.push_back(start);
    for (std::size_t next = start + 1; next < end;) {
      const std::size_t anchor = std::min(next + between, end - 1);
      places.push_back(anchor);
      for (std::size_t i = next; i < anchor; ++i) places.push_back(i);
      next = anchor + 1;
    }
  }
  return places;
}

}  // namespace

std::uint64_t MovieTrack::duration() const {
  std::uint64_t sum = 0;
  for (const MovieSample& sample : samples) sum += sample.duration;
  return sum;
}

std::vector<Bytes> MovieTrack::sampleBytes() const {
  std::vector<Bytes> all;
  for (const MovieSample& sample : samples) all.push_back(sample.bytes);
  return all;
}

MovieTrack videoTrack(const VideoTrackOptions& options) {
  MovieTrack track;
  track.handler = "vide";
  track.timescale = options.timescale;
  track.entries = {avcEntry(options.nalLengthSize)};
  track.name = zeroEnded("Video Handler");
  track.width = 320u << 16;
  track.height = 240u << 16;
  track.syncTable = true;
  const auto places = presentationPlaces(options.count, options.syncEvery, options.betweenAnchors);
  for (std::size_t i = 0; i < options.count; ++i) {
    MovieSample sample;
    sample.sync = i % options.syncEvery == 0;
    std::vector<Bytes> units = {accessUnitDelimiter()};
    if (sample.sync) {
      units.push_back(sequenceParameters());
      units.push_back(pictureParameters());
    }
    units.push_back(
        nal(sample.sync ? kKeySlice : kSlice, recognisable(options.tag, i + 1, options.sliceSize)));
    sample.bytes = accessUnit(units, options.nalLengthSize);
    sample.duration = options.duration;
    sample.dependency = sample.sync ? 0x20 : 0x10;
    if (options.betweenAnchors > 0) {
      // All pictures are shown one picture late, so that none is due before it is decoded.
      sample.compositionOffset =
          static_cast<std::uint32_t>((places[i] + 1 - i) * std::size_t{options.duration});
    }
    track.samples.push_back(std::move(sample));
  }
  return track;
}

MovieTrack soundTrack(const SoundTrackOptions& options) {
  MovieTrack track;
  track.handler = "soun";
  track.timescale = options.timescale;
  track.entries = {mp4aEntry(options.timescale)};
  track.name = zeroEnded("Sound Handler");
  track.volume = 0x100;
  track.syncTable = options.allSync;
  for (std::size_t i = 0; i < options.count; ++i) {
    MovieSample sample;
    sample.bytes = recognisable(options.tag, i + 1, options.size + i % 5);
    sample.duration = options.duration;
    sample.sync = options.allSync;
    track.samples.push_back(std::move(sample));
  }
  return track;
}

MovieTrack captionTrack(const CaptionTrackOptions& options) {
  MovieTrack track;
  track.handler = "clcp";
  track.timescale = options.timescale;
  track.entries = {genericEntry(options.entry)};
  track.name = zeroEnded("Closed Caption Media Handler");
  for (const Bytes& bytes : options.samples) {
    MovieSample sample;
    sample.bytes = bytes;
    sample.duration = options.duration;
    track.samples.push_back(std::move(sample));
  }
  return track;
}

MovieTrack captionTrack(std::size_t count) {
  CaptionTrackOptions options;
  for (std::size_t i = 0; i < count; ++i) {
    options.samples.push_back(cdat(captionPairs(2 + i % 2 * 2, static_cast<unsigned>(i + 1))));
  }
  return captionTrack(options);
}

MovieTrack otherTrack(const std::string& handler, const Bytes& entry, std::size_t count) {
  MovieTrack track;
  track.handler = handler;
  track.entries = {entry};
  track.name = zeroEnded("Other Handler");
  for (std::size_t i = 0; i < count; ++i) {
    MovieSample sample;
    sample.bytes = recognisable("T", i + 1, 16);
    sample.duration = 300;
    track.samples.push_back(std::move(sample));
  }
  return track;
}

}  // namespace quarrypack::test
