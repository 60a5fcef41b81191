#include "src/input_movie.h"

#include <algorithm>
#include <limits>
#include <new>

#include "kav/exception.h"

namespace quarrypack {
namespace {

namespace kav = norvik::kav;

// A lack of memory is no failure of the movie, so it goes on as what it was.
void throwOnError(std::uint32_t code) {
  if (code == static_cast<std::uint32_t>(kav::ErrorCode::outOfMemory)) throw std::bad_alloc();
  if (code != 0) throw kav::Exception(code);
}

struct SampleCloser {
  void operator()(kav::NorvikKavSample* sample) const { kav::closeSample(sample); }
};

kav::NorvikKavReader* openMovie(kav::NorvikIStream& stream) {
  kav::NorvikKavReader* reader = nullptr;
  throwOnError(kav::openReader(&stream, {}, &reader));
  return reader;
}

std::uint64_t costLimitOf(kav::NorvikIStream& stream) {
  constexpr std::uint64_t kFactor = 16;
  constexpr std::uint64_t kAllowance = 8u << 20;
  constexpr std::uint64_t kLongest =
      (std::numeric_limits<std::uint64_t>::max() - kAllowance) / kFactor;
  stream.seek(0, kav::kSeekFromEnd);
  return kFactor * std::min(stream.tell(), kLongest) + kAllowance;
}

kav::NorvikKavSampleDescInfo infoOf(const kav::NorvikKavSampleDescription* description) {
  kav::NorvikKavSampleDescInfo info;
  throwOnError(kav::getSampleDescriptionInfo(description, &info));
  return info;
}

}  // namespace

void InputMovie::Closer::operator()(kav::NorvikKavReader* reader) const {
  kav::closeReader(reader);
}

InputMovie::InputMovie(kav::NorvikIStream& stream)
    : reader_(openMovie(stream)), costLimit_(costLimitOf(stream)) {}

kav::NorvikKavMovieInfo InputMovie::info() const {
  kav::NorvikKavMovieInfo info;
  throwOnError(kav::getMovieInfo(reader_.get(), &info));
  return info;
}

std::vector<InputTrack> InputMovie::readTracks() const {
  std::vector<InputTrack> tracks(info().trackCount);
  for (std::uint32_t i = 0; i < tracks.size(); ++i) {
    InputTrack& track = tracks[i];
    throwOnError(kav::getTrackInfo(reader_.get(), i, &track.info));
    throwOnError(kav::getTrackHandler(reader_.get(), i, &track.handlerType));
    track.name.resize(track.info.handlerNameLength);
    throwOnError(kav::getTrackName(reader_.get(), i, track.name.data()));
    // The writer closes names by itself.
    if (!track.name.empty()) track.name.pop_back();
  }
  return tracks;
}

std::uint32_t InputMovie::descriptionCount(std::uint32_t track) const {
  std::uint32_t count = 0;
  throwOnError(kav::getSampleDescriptionCount(reader_.get(), track, &count));
  return count;
}

InputDescription InputMovie::description(std::uint32_t track, std::uint32_t index) const {
  InputDescription description;
  throwOnError(kav::getSampleDescriptionHandle(reader_.get(), track, index, &description.handle));
  description.header.resize(infoOf(description.handle).headerLength);
  if (!description.header.empty()) {
    throwOnError(kav::getSampleDescription(description.handle, description.header.data()));
  }
  return description;
}

std::size_t InputMovie::descriptionLength(std::uint32_t track, std::uint32_t index) const {
  const kav::NorvikKavSampleDescription* description = nullptr;
  throwOnError(kav::getSampleDescriptionHandle(reader_.get(), track, index, &description));
  return infoOf(description).headerLength;
}

std::vector<kav::NorvikKavTrackTotals> InputMovie::countSamples(std::size_t trackCount) const {
  std::vector<kav::NorvikKavTrackTotals> totals(trackCount);
  throwOnError(kav::countSamples(reader_.get(), costLimit_, totals.data()));
  return totals;
}

std::uint64_t InputMovie::editShift(std::uint32_t track) const {
  std::uint64_t ticks = 0;
  throwOnError(kav::getEditShift(reader_.get(), track, &ticks));
  return ticks;
}

void InputMovie::requireBytes(const InputSample& sample) const {
  if (sample.info.size == 0) return;
  throwOnError(kav::checkBytes(reader_.get(), sample.location.fileOffset, sample.info.size));
}

void InputMovie::readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) {
  if (destination.empty()) return;
  throwOnError(kav::readBytes(reader_.get(), fileOffset, destination.data(), destination.size()));
}

void InputMovie::peekAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) {
  if (destination.empty()) return;
  throwOnError(kav::peekBytes(reader_.get(), fileOffset, destination.data(), destination.size()));
}

void SampleWalk::Closer::operator()(kav::NorvikKavSampleIterator* iterator) const {
  kav::closeSampleIterator(iterator);
}

SampleWalk::SampleWalk(kav::NorvikKavReader* reader) {
  kav::NorvikKavSampleIterator* iterator = nullptr;
  throwOnError(kav::createSampleIterator(reader, &iterator));
  iterator_.reset(iterator);
}

bool SampleWalk::next(InputSample& sample) {
  kav::NorvikKavSample* next = nullptr;
  throwOnError(kav::nextSample(iterator_.get(), &next));
  if (next == nullptr) return false;
  const std::unique_ptr<kav::NorvikKavSample, SampleCloser> owned(next);
  throwOnError(kav::getSampleInfo(next, &sample.info));
  throwOnError(kav::getSampleLocation(next, &sample.location));
  return true;
}

bool SampleWalk::isAtLast() const {
  std::uint32_t hasNext = 0;
  throwOnError(kav::hasNextSample(iterator_.get(), &hasNext));
  return hasNext == 0;
}

}  // namespace quarrypack
