#include "kav/impl/reading/reader.h"

#include <algorithm>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/rescale_time.h"
#include "kav/sample_info.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kCacheBlockSize = 64 * 1024;

// A few blocks for each track let interleaved tracks keep their places; the bounds keep the cache
// from growing with what a file claims.
constexpr std::size_t kBlocksForTrack = 3;
constexpr std::size_t kFewestBlocks = 16;
constexpr std::size_t kMostBlocks = 64;

std::uint32_t cacheBlocks(std::size_t tracks) {
  return static_cast<std::uint32_t>(
      std::clamp(tracks * kBlocksForTrack, kFewestBlocks, kMostBlocks));
}

// What may still be counted.
class CostBudget {
 public:
  explicit CostBudget(std::uint64_t limit) : left_(limit) {}

  // False once the budget is used up.
  bool spend(std::uint32_t sampleSize) {
    const std::uint64_t cost = std::max(sampleSize, kSmallestSampleCost);
    const bool affordable = cost <= left_;
    left_ -= std::min(cost, left_);
    return affordable;
  }

 private:
  std::uint64_t left_;
};

// Counts until the samples end or fail, or leave the file: whoever reads them will meet the failure
// in its place, and a table in a small file can promise any number of samples that are not there.
TrackTotals countTrack(SampleIterator& samples, std::uint64_t fileLength, CostBudget& budget) {
  TrackTotals totals;
  try {
    while (SamplePtr sample = samples.next()) {
      if (!budget.spend(sample->info.size)) break;
      if (sample->info.flags == kSampleIsGap) {
        ++totals.gapCount;
        continue;
      }
      const std::uint32_t size = sample->info.size;
      if (size != 0 && (size > fileLength || sample->fileOffset > fileLength - size)) break;
      ++totals.sampleCount;
    }
  } catch (const Exception&) {
    return totals;
  }
  return totals;
}

}  // namespace

Reader::Reader(boost::intrusive_ptr<NorvikIStream> stream, const ReaderOptions& options)
    : options_(options), document_(std::move(stream), options.problemHandler) {
  RootBox& root = document_.root();
  MoovBox* movie = root.readMovie();
  if (movie == nullptr) throw Exception(ErrorCode::noMovie);
  tracks_.reserve(movie->tracks().size());
  for (TrakBox* trak : movie->tracks()) addTrack(*trak);
  for (const BoxPtr& box : root.children()) {
    mediaData_ = childAs<MdatBox>(*box);
    if (mediaData_ != nullptr) break;
  }
  cache_.emplace(document_.stream(), kCacheBlockSize, cacheBlocks(tracks_.size()));
}

void Reader::addTrack(TrakBox& trak) {
  TrackRecord track;
  track.index = static_cast<std::uint32_t>(tracks_.size());
  track.trak = &trak;
  track.root = &document_.root();
  NorvikKavTrackInfo& info = track.info;
  if (const TkhdBox* header = trak.tkhd()) {
    info.trackId = header->record().trackId;
    info.tkhdFlags = header->flags();
    info.creationTime = header->record().creationTime;
    info.modificationTime = header->record().modificationTime;
    info.width = header->record().width;
    info.height = header->record().height;
    info.volume = header->record().volume;
  }
  if (const MdiaBox* media = trak.mdia()) {
    if (const MdhdBox* header = media->mdhd()) {
      info.mediaTimescale = header->record().timescale;
      info.language = unpackLanguage(header->record().language);
      if (trak.tkhd() != nullptr) {
        info.duration =
            rescaleTime(trak.tkhd()->record().duration, movieTimescale(), info.mediaTimescale);
      }
    }
    if (const HdlrBox* handler = media->hdlr()) {
      track.handlerType = handler->handlerType();
      track.name = handler->name();
      info.handlerNameLength = static_cast<std::uint32_t>(track.name.size());
    }
  }
  track.stbl = trak.findStbl();
  if (track.stbl != nullptr) {
    track.stsd = track.stbl->stsd();
    if (track.stbl->sdtp() != nullptr) info.flags |= kTrackHasSampleDependencies;
  }
  tracks_.push_back(std::move(track));
}

const MvhdBox* Reader::movieHeader() const {
  const MoovBox* movie = document_.root().movie();
  return movie == nullptr ? nullptr : movie->mvhd();
}

std::uint32_t Reader::movieTimescale() const {
  const MoovBox* movie = document_.root().movie();
  return movie == nullptr || movie->mvhd() == nullptr ? 0 : movie->mvhd()->record().timescale;
}

bool Reader::isFragmented() const {
  const MoovBox* movie = document_.root().movie();
  return movie != nullptr && movie->mvex() != nullptr;
}

DocIteratorOptions Reader::iteratorOptions() const {
  DocIteratorOptions options;
  options.ignoreEditLists = options_.ignoreEditLists;
  return options;
}

std::vector<std::unique_ptr<SampleIterator>> Reader::createIterators() {
  return createTrackIterators(tracks_, movieTimescale(), iteratorOptions());
}

std::unique_ptr<DocIterator> Reader::createDocIterator() {
  return std::make_unique<DocIterator>(createIterators());
}

std::uint64_t Reader::editShift(const TrackRecord& track) const {
  return impl::editShift(track, iteratorOptions());
}

std::vector<TrackTotals> Reader::countSamples(std::uint64_t costLimit) {
  CostBudget budget(costLimit);
  std::vector<TrackTotals> totals(tracks_.size());
  try {
    const auto iterators = createIterators();
    for (std::size_t i = 0; i < iterators.size(); ++i) {
      totals[i] = countTrack(*iterators[i], document_.stream().size(), budget);
    }
  } catch (const Exception&) {
    // Nothing can be iterated then, and nothing will need room.
    return totals;
  }
  return totals;
}

XMPDataBox* Reader::findMetadata() {
  if (hasNoMetadata_) return nullptr;
  XMPDataBox* box = document_.root().readMetadata();
  hasNoMetadata_ = box == nullptr;
  return box;
}

std::span<const std::uint8_t> Reader::metadata() {
  XMPDataBox* box = findMetadata();
  if (box == nullptr) return {};
  return box->payload();
}

std::uint64_t Reader::metadataLength() {
  const XMPDataBox* box = findMetadata();
  return box == nullptr ? 0 : box->payloadLength();
}

void Reader::getMetadata(std::uint8_t* buffer) {
  const XMPDataBox* box = findMetadata();
  if (box != nullptr) box->copyPayload(buffer);
}

void Reader::getSampleDescription(const SampleDescriptor& description, std::uint8_t* buffer) {
  std::copy(description.headerBytes().begin(), description.headerBytes().end(), buffer);
}

void Reader::checkBytes(std::uint64_t offset, std::uint64_t length) {
  const std::uint64_t fileLength = document_.stream().size();
  if (offset > fileLength || fileLength - offset < length) throw Exception(ErrorCode::shortRead);
}

void Reader::readBytes(std::uint64_t offset, std::span<std::uint8_t> destination) {
  checkBytes(offset, destination.size());
  if (cache_->read(destination.data(), destination.size(), offset) != destination.size()) {
    throw Exception(ErrorCode::shortRead);
  }
}

void Reader::peekBytes(std::uint64_t offset, std::span<std::uint8_t> destination) {
  checkBytes(offset, destination.size());
  document_.stream().seekTo(offset);
  document_.stream().readFully(destination.data(), destination.size());
}

}  // namespace norvik::kav::impl
