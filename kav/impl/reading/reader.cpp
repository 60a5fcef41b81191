#include "kav/impl/reading/reader.h"

#include <algorithm>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/model/box_headers.h"
#include "kav/rescale_time.h"
#include "kav/sample_info.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kCacheBlockSize = 64 * 1024;

// A few blocks for each track let interleaved tracks keep their places. The bounds keep the cache
// from growing with the claims of a file.
constexpr std::size_t kBlocksForTrack = 3;
constexpr std::size_t kFewestBlocks = 12;
constexpr std::size_t kMostBlocks = 64;

std::uint32_t cacheBlocks(std::size_t tracks) {
  return static_cast<std::uint32_t>(
      std::clamp(tracks * kBlocksForTrack, kFewestBlocks, kMostBlocks));
}

// The cost that may still be counted.
class CostBudget {
 public:
  explicit CostBudget(std::uint64_t limit) : left_(limit) {}

  // Returns false once the budget is used up.
  bool spend(std::uint32_t sampleSize) {
    const std::uint64_t cost = std::max(sampleSize, kSmallestSampleCost);
    const bool affordable = cost <= left_;
    left_ -= std::min(cost, left_);
    return affordable;
  }

 private:
  std::uint64_t left_;
};

// Counts until the samples end, fail, or leave the file. Reading the samples later meets the same
// failure in its place, and a table in a small file can claim any number of missing samples.
TrackTotals countTrack(SampleIterator& samples, std::uint64_t fileLength, CostBudget& budget) {
  TrackTotals totals;
  try {
    Sample sample;
    while (samples.take(sample)) {
      const std::uint32_t size = sample.info.size;
      if (!budget.spend(size)) break;
      if (sample.isGap()) {
        ++totals.gapCount;
        continue;
      }
      if (size != 0 && (size > fileLength || sample.fileOffset > fileLength - size)) break;
      ++totals.sampleCount;
    }
  } catch (const Exception&) {
    return totals;
  }
  return totals;
}

MovieInfo infoOf(const MoovBox& movie) {
  MovieInfo info;
  info.isFragmented = movie.mvex() != nullptr;
  if (movie.mvhd() == nullptr) return info;
  const auto& header = movie.mvhd()->record();
  info.timescale = header.timescale;
  info.duration = header.duration;
  info.creationTime = header.creationTime;
  info.modificationTime = header.modificationTime;
  info.rate = header.rate;
  info.volume = header.volume;
  return info;
}

void addTrackHeader(const TkhdBox& header, NorvikKavTrackInfo& info) {
  info.trackId = header.record().trackId;
  info.tkhdFlags = header.flags();
  info.creationTime = header.record().creationTime;
  info.modificationTime = header.record().modificationTime;
  info.width = header.record().width;
  info.height = header.record().height;
  info.volume = header.record().volume;
}

void addMedia(const MdiaBox& media, Track& track) {
  if (const MdhdBox* header = media.mdhd()) {
    track.info.mediaTimescale = header->record().timescale;
    track.info.language = unpackLanguage(header->record().language);
  }
  if (const HdlrBox* handler = media.hdlr()) {
    track.handlerType = handler->handlerType();
    const std::vector<std::uint8_t>& name = handler->name();
    track.info.handlerNameLength = static_cast<std::uint32_t>(name.size());
    // A name that was read always ends in a zero byte.
    if (!name.empty()) track.name.assign(name.begin(), name.end() - 1);
  }
}

void addSampleTable(const StblBox& table, Track& track) {
  if (table.sdtp() != nullptr) track.info.flags |= kTrackHasSampleDependencies;
  track.hasSyncTable = table.stss() != nullptr;
  if (table.stsd() == nullptr) return;
  const auto entries = table.stsd()->entries();
  track.descriptions.reserve(entries.size());
  for (const KavSampleEntry* entry : entries) {
    track.descriptions.emplace_back(entry->sharedDescriptor());
  }
}

}  // namespace

Reader::Reader(boost::intrusive_ptr<NorvikIStream> stream, const ReaderOptions& options)
    : options_(options), document_(std::move(stream), options.problemHandler) {
  RootBox& root = document_.root();
  MoovBox* movie = root.readMovie();
  if (movie == nullptr) throw Exception(ErrorCode::noMovie);
  info_ = infoOf(*movie);
  tracks_.reserve(movie->tracks().size());  // records point to them
  records_.reserve(movie->tracks().size());
  for (TrakBox* trak : movie->tracks()) addTrack(*trak);
  for (const BoxPtr& box : root.children()) {
    mediaData_ = childAs<MdatBox>(*box);
    if (mediaData_ != nullptr) break;
  }
  cache_.emplace(document_.source(), kCacheBlockSize, cacheBlocks(tracks_.size()));
}

void Reader::addTrack(TrakBox& trak) {
  Track& track = tracks_.emplace_back();
  track.index = static_cast<std::uint32_t>(tracks_.size() - 1);
  if (trak.tkhd() != nullptr) addTrackHeader(*trak.tkhd(), track.info);
  if (const MdiaBox* media = trak.mdia()) {
    addMedia(*media, track);
    if (trak.tkhd() != nullptr && media->mdhd() != nullptr) {
      track.info.duration =
          rescaleTime(trak.tkhd()->record().duration, info_.timescale, track.info.mediaTimescale);
    }
  }
  StblBox* const table = trak.findStbl();
  if (table != nullptr) addSampleTable(*table, track);
  records_.push_back({.track = &track, .trak = &trak, .stbl = table, .root = &document_.root()});
}

SampleOptions Reader::wholeFile() const {
  SampleOptions options;
  options.applyEdits = !options_.ignoreEditLists;
  return options;
}

std::unique_ptr<DocIterator> Reader::createDocIterator() { return createDocIterator(wholeFile()); }

std::unique_ptr<DocIterator> Reader::createDocIterator(const SampleOptions& options) {
  return std::make_unique<DocIterator>(createTrackIterators(records_, info_.timescale, options));
}

std::uint64_t Reader::editShift(const TrackRecord& track) const {
  return impl::editShift(track, wholeFile());
}

std::vector<TrackTotals> Reader::countSamples(std::uint64_t costLimit) {
  return countSamples(costLimit, wholeFile());
}

std::vector<TrackTotals> Reader::countSamples(std::uint64_t costLimit,
                                              const SampleOptions& options) {
  CostBudget budget(costLimit);
  std::vector<TrackTotals> totals(records_.size());
  try {
    const auto iterators = createTrackIterators(records_, info_.timescale, options);
    // With one track selected there is one iterator, which belongs to that track.
    std::size_t track = options.trackIndex.value_or(0);
    for (const auto& iterator : iterators) {
      totals[track++] = countTrack(*iterator, document_.stream().size(), budget);
    }
  } catch (const Exception&) {
    // Then nothing can be iterated, and nothing needs room.
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

void Reader::getSampleDescription(const SampleDescription& description, std::uint8_t* buffer) {
  const auto bytes = description.headerBytes();
  std::copy(bytes.begin(), bytes.end(), buffer);
}

std::vector<BoxPlace> Reader::topLevelBoxes() { return listTopLevelBoxes(document_.stream()); }

bool Reader::hasBytes(std::uint64_t offset, std::uint64_t length) const {
  return offset <= fileLength() && fileLength() - offset >= length;
}

void Reader::checkBytes(std::uint64_t offset, std::uint64_t length) const {
  if (!hasBytes(offset, length)) throw Exception(ErrorCode::shortRead);
}

void Reader::readBytes(std::uint64_t offset, std::span<std::uint8_t> destination) {
  checkBytes(offset, destination.size());
  const std::size_t inBlock = kCacheBlockSize - offset % kCacheBlockSize;
  if (inBlock < destination.size() && destination.size() <= kCacheBlockSize) {
    readFromTwoBlocks(offset, destination, inBlock);
  } else {
    readThroughCache(offset, destination);
  }
}

// The cache fills a block for what the first block of a request does not hold. A request of its own
// finds the second block if it is there already.
void Reader::readFromTwoBlocks(std::uint64_t offset, std::span<std::uint8_t> destination,
                               std::size_t inFirst) {
  readThroughCache(offset, destination.first(inFirst));
  readThroughCache(offset + inFirst, destination.subspan(inFirst));
}

void Reader::readThroughCache(std::uint64_t offset, std::span<std::uint8_t> destination) {
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
