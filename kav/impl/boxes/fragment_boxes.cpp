#include "kav/impl/boxes/fragment_boxes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/memory_size.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kMostSamples = 100000000;
constexpr std::uint32_t kWritten = TrunBox::kDataOffset | TrunBox::kDuration | TrunBox::kSize |
                                   TrunBox::kFlags | TrunBox::kCompositionOffset;

// The fields before the records of a run.
struct TrunRecord {
  std::uint32_t sampleCount = 0;
  std::int32_t dataOffset = 0;
  std::uint32_t firstSampleFlags = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.sampleCount);
    if (fields.has(TrunBox::kDataOffset)) fields.i32(self.dataOffset);
    if (fields.has(TrunBox::kFirstSampleFlags)) fields.u32(self.firstSampleFlags);
  }
};
static_assert(fullBoxSize<TrunRecord>({0, kWritten}) == 20);

// Negative for a target before the origin.
std::int32_t distance(std::uint64_t from, std::uint64_t to) {
  constexpr std::uint64_t kFarthest = std::numeric_limits<std::int32_t>::max();
  const bool isBefore = to < from;
  const std::uint64_t length = isBefore ? from - to : to - from;
  if (length > kFarthest + (isBefore ? 1 : 0)) throw Exception(ErrorCode::runTooLarge);
  return static_cast<std::int32_t>(isBefore ? -static_cast<std::int64_t>(length)
                                            : static_cast<std::int64_t>(length));
}

// Hostile runs are long enough for their sums to exceed 64 bits; the sum then saturates.
std::uint64_t cappedSum(std::uint64_t a, std::uint64_t b) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  return b > kMost - a ? kMost : a + b;
}

bool belongsToLowerTrack(const TrafBox* a, const TrafBox* b) { return a->trackId() < b->trackId(); }

}  // namespace

MfhdBox::MfhdBox(std::uint32_t sequenceNumber, NorvikKavStream& stream)
    : RecordBox(fourCc("mfhd"), stream, 0, MfhdRecord{sequenceNumber}) {}

TfhdBox::TfhdBox(std::uint32_t flags, const TfhdRecord& record, NorvikKavStream& stream)
    : RecordBox(fourCc("tfhd"), stream, flags, record) {}

TfdtBox::TfdtBox(std::uint64_t decodingTime, NorvikKavStream& stream)
    : RecordBox(fourCc("tfdt"), stream, 0, TfdtRecord{decodingTime}) {}

TrunBox::TrunBox(std::uint64_t mediaDataPosition, std::uint64_t fragmentStart,
                 NorvikKavStream& stream)
    : FullBox(fourCc("trun"), stream, 0, kWritten),
      dataOffset_(distance(fragmentStart, mediaDataPosition)) {
  setLengths(fullBoxSize<TrunRecord>({0, kWritten}));
}

std::size_t TrunBox::recordWords() const {
  return static_cast<std::size_t>(
      std::popcount(flags() & (kDuration | kSize | kFlags | kCompositionOffset)));
}

std::uint64_t TrunBox::totalDuration() const {
  return has(kDuration) ? storedDuration_ : std::uint64_t{sampleCount_} * defaults_.duration;
}

std::uint64_t TrunBox::totalSize() const {
  return has(kSize) ? storedSize_ : std::uint64_t{sampleCount_} * defaults_.size;
}

void TrunBox::countIn(const Sample& sample) {
  if (counted_ % kStride == 0) strides_.push_back({storedDuration_, storedSize_});
  ++counted_;
  storedDuration_ += sample.duration;
  storedSize_ += sample.size;
}

void TrunBox::setDataPosition(std::uint64_t mediaDataPosition, std::uint64_t fragmentStart) {
  dataOffset_ = distance(fragmentStart, mediaDataPosition);
}

void TrunBox::addSample(const Sample& sample) {
  if (sampleCount_ >= kMostSamples) throw Exception(ErrorCode::implausibleCount);
  if (has(kDuration)) words_.push_back(sample.duration);
  if (has(kSize)) words_.push_back(sample.size);
  if (has(kFlags)) words_.push_back(sample.flags);
  if (has(kCompositionOffset)) words_.push_back(sample.compositionOffset);
  ++sampleCount_;
  if (holdsSums()) countIn(sample);
  grow(recordWords() * 4);
}

void TrunBox::readContent() {
  const LayoutForm form{version(), flags()};
  const std::size_t needed = recordSize<TrunRecord>(form);
  if (bytesLeft() < needed) throw Exception(ErrorCode::truncatedBox);
  std::array<std::uint8_t, recordSize<TrunRecord>({0, 0xFFFFFF})> bytes;
  stream().readFully(bytes.data(), needed);
  TrunRecord record;
  FieldReader reader(bytes, form);
  TrunRecord::layout(reader, record);
  sampleCount_ = record.sampleCount;
  dataOffset_ = record.dataOffset;
  firstSampleFlags_ = record.firstSampleFlags;
  readRecords();
}

void TrunBox::readRecords() {
  const std::uint64_t length = std::uint64_t{sampleCount_} * recordWords() * 4;
  if (length > std::numeric_limits<std::uint32_t>::max()) throw Exception(ErrorCode::runTooLarge);
  if (length > bytesLeft()) throw Exception(ErrorCode::truncatedBox);
  if (sampleCount_ > kMostSamples) throw Exception(ErrorCode::implausibleCount);

  words_.resize(sampleCount_ * recordWords());
  stream().readFully(words_.data(), memorySize(length));
  for (std::uint32_t& word : words_) word = loadU32(reinterpret_cast<const std::uint8_t*>(&word));
  if (!holdsSums()) return;
  for (Cursor cursor(*this); cursor.isValid(); cursor.next()) countIn(cursor.current());
}

void TrunBox::writeContent() {
  const LayoutForm form{version(), flags()};
  const std::size_t head = recordSize<TrunRecord>(form);
  std::vector<std::uint8_t> bytes(head + words_.size() * 4);
  FieldWriter writer(bytes, form);
  const TrunRecord record{sampleCount_, dataOffset_, firstSampleFlags_};
  TrunRecord::layout(writer, record);
  for (std::size_t i = 0; i < words_.size(); ++i) storeU32(bytes.data() + head + i * 4, words_[i]);
  writeAt(contentStart(), bytes);
}

// Samples may have been added since the header was written.
void TrunBox::updateContent() {
  writeContent();
  patchSize();
}

TrunBox::Sums TrunBox::sumsBefore(std::uint32_t index) const {
  Sums sums{std::uint64_t{index} * defaults_.duration, std::uint64_t{index} * defaults_.size};
  if (strides_.empty()) return sums;
  const std::uint32_t stride =
      std::min<std::uint32_t>(index / kStride, static_cast<std::uint32_t>(strides_.size() - 1));
  Sums stored = strides_[stride];
  const std::size_t words = recordWords();
  for (std::uint32_t i = stride * kStride; i < index; ++i) {
    const std::uint32_t* word = words_.data() + i * words;
    if (has(kDuration)) stored.duration += *word++;
    if (has(kSize)) stored.size += *word;
  }
  if (has(kDuration)) sums.duration = stored.duration;
  if (has(kSize)) sums.size = stored.size;
  return sums;
}

TrunBox::Cursor::Cursor(const TrunBox& run) : run_(&run) {
  current_.dataOffset = run.dataOffset_;
  if (isValid()) load();
}

void TrunBox::Cursor::next() {
  ++index_;
  current_.dataOffset += current_.size;
  if (isValid()) load();
}

void TrunBox::Cursor::moveTo(std::uint32_t index) {
  index_ = index;
  word_ = index * run_->recordWords();
  current_.dataOffset = run_->dataOffset_ + static_cast<std::int64_t>(run_->sumsBefore(index).size);
  if (isValid()) load();
}

std::uint64_t TrunBox::Cursor::skip(std::uint64_t time) {
  const std::uint64_t from = run_->sumsBefore(index_).duration;
  const std::uint64_t left = run_->totalDuration() - from;
  if (time > left) {
    moveTo(run_->sampleCount());
    return left;
  }
  const std::uint64_t target = from + time;
  if (!run_->has(kDuration)) {
    const std::uint32_t duration = run_->defaults_.duration;
    if (duration != 0) moveTo(static_cast<std::uint32_t>((target + duration - 1) / duration));
    return std::uint64_t{index_} * duration - from;
  }
  // From the last stride that begins before the target, only a short walk remains.
  const auto behind = std::lower_bound(
      run_->strides_.begin(), run_->strides_.end(), target,
      [](const Sums& sums, std::uint64_t sought) { return sums.duration < sought; });
  const auto strides = static_cast<std::uint32_t>(behind - run_->strides_.begin());
  if (strides > 1 && (strides - 1) * kStride > index_) moveTo((strides - 1) * kStride);
  std::uint64_t reached = run_->sumsBefore(index_).duration;
  while (isValid() && reached < target) {
    reached += current_.duration;
    next();
  }
  return reached - from;
}

void TrunBox::Cursor::load() {
  const TrunBox& run = *run_;
  const auto fieldOr = [&](std::uint32_t flag, std::uint32_t otherwise) {
    return run.has(flag) ? run.words_[word_++] : otherwise;
  };
  const bool hasOwnFlags = index_ == 0 && run.has(kFirstSampleFlags);
  current_.duration = fieldOr(kDuration, run.defaults_.duration);
  current_.size = fieldOr(kSize, run.defaults_.size);
  current_.flags = fieldOr(kFlags, hasOwnFlags ? run.firstSampleFlags_ : run.defaults_.flags);
  current_.compositionOffset = fieldOr(kCompositionOffset, 0);
}

TrafBox::TrafBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

TrafBox::TrafBox(NorvikKavStream& stream) : Box(fourCc("traf"), stream) {}

void TrafBox::addChild(BoxPtr child) {
  if (tfhd_ == nullptr) tfhd_ = childAs<TfhdBox>(*child);
  if (auto* run = childAs<TrunBox>(*child)) runs_.push_back(run);
  remember(sdtp_, *child);
  Box::addChild(std::move(child));
}

std::span<const ChildRule> TrafBox::getChildRules() const {
  static constexpr ChildRule kRules[] = {{fourCc("tfhd"), ChildRule::Kind::exactlyOne}};
  return kRules;
}

void TrafBox::readChildren(RootBox& root, bool check) {
  Box::readChildren(root, check);
  decodeTime_ = readDecodeTime();
  readDependencies(root, check);
}

// The runs give the number of bytes. A box too short for them is ignored.
void TrafBox::readDependencies(RootBox& root, bool check) {
  if (sdtp_ == nullptr) return;
  std::uint64_t samples = 0;
  for (const TrunBox* run : runs_) samples += run->sampleCount();
  if (samples > sdtp_->end() - sdtp_->contentStart()) return;
  sdtp_->setSampleCount(static_cast<std::uint32_t>(samples));
  sdtp_->readBody(root, check);
}

std::span<const std::uint8_t> TrafBox::dependencies() const {
  return sdtp_ == nullptr ? std::span<const std::uint8_t>{} : sdtp_->bytes();
}

std::optional<std::uint64_t> TrafBox::readDecodeTime() {
  const auto tfdt = std::find_if(children().begin(), children().end(),
                                 [](const auto& child) { return child->type() == fourCc("tfdt"); });
  if (tfdt == children().end()) return std::nullopt;
  const std::uint64_t start = (*tfdt)->payloadStart();
  const std::uint64_t length = (*tfdt)->end() - start;
  if (length < 8) return std::nullopt;
  std::array<std::uint8_t, 12> bytes;
  stream().seekTo(start);
  stream().readFully(bytes.data(), sizeWithin(length, bytes.size()));
  if (bytes[0] == 0) return loadU32(bytes.data() + 4);
  if (length < bytes.size()) return std::nullopt;
  return loadU64(bytes.data() + 4);
}

void TrafBox::setDefaults(const TrunBox::Defaults& defaults) {
  for (TrunBox* run : runs_) run->setDefaults(defaults);
}

std::uint64_t TrafBox::totalDuration() const {
  std::uint64_t sum = 0;
  for (const TrunBox* run : runs_) sum = cappedSum(sum, run->totalDuration());
  return sum;
}

std::uint64_t TrafBox::totalSize() const {
  std::uint64_t sum = 0;
  for (const TrunBox* run : runs_) sum = cappedSum(sum, run->totalSize());
  return sum;
}

MoofBox::MoofBox(BoxHeader header, NorvikKavStream& stream) : Box(std::move(header), stream) {
  setLengths(headerLength());
}

MoofBox::MoofBox(NorvikKavStream& stream) : Box(fourCc("moof"), stream) {}

void MoofBox::addChild(BoxPtr child) {
  if (mfhd_ == nullptr) mfhd_ = childAs<MfhdBox>(*child);
  if (auto* part = childAs<TrafBox>(*child)) parts_.push_back(part);
  Box::addChild(std::move(child));
}

std::span<const ChildRule> MoofBox::getChildRules() const {
  static constexpr ChildRule kRules[] = {{fourCc("mfhd"), ChildRule::Kind::exactlyOne}};
  return kRules;
}

void MoofBox::readChildren(RootBox& root, bool check) {
  Box::readChildren(root, check);
  partsByTrack_ = parts_;
  std::stable_sort(partsByTrack_.begin(), partsByTrack_.end(), belongsToLowerTrack);
}

std::uint32_t MoofBox::sequenceNumber() const {
  return mfhd_ == nullptr ? 0 : mfhd_->record().sequenceNumber;
}

std::span<TrafBox* const> MoofBox::partsOf(std::uint32_t trackId) const {
  const auto first =
      std::partition_point(partsByTrack_.begin(), partsByTrack_.end(),
                           [trackId](const TrafBox* part) { return part->trackId() < trackId; });
  const auto end = std::find_if(first, partsByTrack_.end(), [trackId](const TrafBox* part) {
    return part->trackId() != trackId;
  });
  return {first, end};
}

TrafBox* TrafBoxIterator::current() {
  while (Box* child = BoxIteratorByType::current()) {
    auto* part = childAs<TrafBox>(*child);
    if (part != nullptr && part->trackId() == trackId_) return part;
    next();
  }
  return nullptr;
}

TrafBox* ReverseTrafBoxIterator::current() {
  while (Box* child = ReverseBoxIteratorByType::current()) {
    auto* part = childAs<TrafBox>(*child);
    if (part != nullptr && part->trackId() == trackId_) return part;
    next();
  }
  return nullptr;
}

}  // namespace norvik::kav::impl
