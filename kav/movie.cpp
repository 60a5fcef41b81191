#include "kav/movie.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/reading/reader.h"
#include "kav/memory_size.h"

namespace norvik::kav {
namespace {

impl::ReaderOptions readerOptions(const MovieOptions& options) {
  return {.ignoreEditLists = false, .problemHandler = options.problemHandler};
}

std::unique_ptr<impl::Reader> open(IStreamPtr stream, const MovieOptions& options) {
  if (stream == nullptr) throw Exception(ErrorCode::missingArgument);
  return std::make_unique<impl::Reader>(std::move(stream), readerOptions(options));
}

const impl::TrackRecord& recordOf(const impl::Reader& reader, std::uint32_t index) {
  if (index >= reader.records().size()) throw Exception(ErrorCode::missingArgument);
  return reader.records()[index];
}

void requireTrack(const impl::Reader& reader, const SampleOptions& options) {
  if (options.trackIndex) recordOf(reader, *options.trackIndex);
}

}  // namespace

SampleRange::SampleRange(std::unique_ptr<impl::SampleIterator> samples)
    : samples_(std::move(samples)) {}
SampleRange::SampleRange(SampleRange&&) noexcept = default;
SampleRange& SampleRange::operator=(SampleRange&&) noexcept = default;
SampleRange::~SampleRange() = default;

const Sample* SampleRange::next() { return samples_->take(current_) ? &current_ : nullptr; }

bool SampleRange::hasNext() const { return samples_->hasNext(); }

Movie::Movie(IStreamPtr stream, const MovieOptions& options)
    : reader_(open(std::move(stream), options)) {}
Movie::Movie(Movie&&) noexcept = default;
Movie& Movie::operator=(Movie&&) noexcept = default;
Movie::~Movie() = default;

const MovieInfo& Movie::info() const { return reader_->info(); }

std::span<const Track> Movie::tracks() const { return reader_->tracks(); }

SampleRange Movie::samples(const SampleOptions& options) {
  requireTrack(*reader_, options);
  return SampleRange(reader_->createDocIterator(options));
}

std::vector<TrackTotals> Movie::countSamples(std::uint64_t costLimit,
                                             const SampleOptions& options) {
  requireTrack(*reader_, options);
  return reader_->countSamples(costLimit, options);
}

std::uint64_t Movie::plausibleCost() const {
  constexpr std::uint64_t kFactor = 16;
  constexpr std::uint64_t kAllowance = 8u << 20;
  constexpr std::uint64_t kLongest =
      (std::numeric_limits<std::uint64_t>::max() - kAllowance) / kFactor;
  return kFactor * std::min(fileLength(), kLongest) + kAllowance;
}

std::uint64_t Movie::editShift(const Track& track) const {
  return reader_->editShift(recordOf(*reader_, track.index));
}

void Movie::read(const Sample& sample, std::span<std::uint8_t> destination) {
  if (destination.size() != sample.info.size) throw Exception(ErrorCode::missingArgument);
  if (!destination.empty()) reader_->readBytes(sample.fileOffset, destination);
}

void Movie::readAt(std::uint64_t offset, std::span<std::uint8_t> destination) {
  reader_->readBytes(offset, destination);
}

void Movie::peekAt(std::uint64_t offset, std::span<std::uint8_t> destination) {
  reader_->peekBytes(offset, destination);
}

bool Movie::holds(std::uint64_t offset, std::uint64_t length) const {
  return reader_->hasBytes(offset, length);
}

std::uint64_t Movie::fileLength() const { return reader_->fileLength(); }

std::vector<BoxPlace> Movie::topLevelBoxes() { return reader_->topLevelBoxes(); }

std::vector<std::uint8_t> Movie::readBox(const BoxPlace& box, std::uint64_t limit) {
  if (box.size > limit) throw Exception(ErrorCode::implausibleCount);
  reader_->checkBytes(box.start, box.size);
  std::vector<std::uint8_t> bytes(memorySize(box.size));
  reader_->readBytes(box.start, bytes);
  return bytes;
}

std::span<const std::uint32_t> Movie::hintedTracks(const Track& track) const {
  return impl::hintedTracks(recordOf(*reader_, track.index));
}

std::span<const std::uint8_t> Movie::xmp() { return reader_->metadata(); }

std::uint64_t Movie::xmpLength() { return reader_->metadataLength(); }

}  // namespace norvik::kav
