#include "kav/impl/fragment_writer.h"

#include <algorithm>
#include <limits>
#include <span>

#include "kav/exception.h"
#include "kav/impl/file_boxes.h"
#include "kav/impl/sample_descriptions.h"
#include "kav/impl/sample_table_boxes.h"
#include "kav/impl/stbl_box.h"
#include "kav/sample_info.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kLongestDuration = std::numeric_limits<std::uint32_t>::max();

// What the record of a sample takes up in its run.
constexpr std::uint64_t kRecordLength = 16;

// The flags of a sample as a fragment states them. An sdtp byte has its place among them.
constexpr unsigned kDependencyShift = 20;
constexpr std::uint32_t kNotSync = 0x00010000;
constexpr std::uint32_t kDependsOnOthers = 0x01000000;
constexpr std::uint32_t kDependsOnNone = 0x02000000;

bool isSync(std::uint32_t flags) { return (flags & 0xFF) == kSampleIsSync; }

std::uint8_t dependenciesOf(std::uint32_t flags) {
  return static_cast<std::uint8_t>(flags >> kSampleDependencyShift & 0xFF);
}

// Players take a sample for a sync sample only if its flags do not say that it depends on others.
std::uint32_t fragmentFlags(std::uint32_t flags, bool hasDependencies) {
  if (!hasDependencies) return isSync(flags) ? kDependsOnNone : kNotSync | kDependsOnOthers;
  const std::uint32_t dependencies = std::uint32_t{dependenciesOf(flags)} << kDependencyShift;
  return isSync(flags) ? dependencies & ~kDependsOnOthers : dependencies | kNotSync;
}

// Whether the flags of a fragment cannot say the sdtp byte of a sample.
bool needsDependencyByte(std::uint32_t flags) {
  return isSync(flags) &&
         (std::uint32_t{dependenciesOf(flags)} << kDependencyShift & kDependsOnOthers) != 0;
}

const TrackDraft* firstVideoTrack(const std::vector<TrackDraft>& tracks) {
  const auto found = std::ranges::find(tracks, fourCc("vide"), &TrackDraft::handlerType);
  return found == tracks.end() ? nullptr : &*found;
}

}  // namespace

FragmentWriter::FragmentWriter(MovieDraft& movie, const FragmentParameters& parameters)
    : movie_(movie), parameters_(parameters) {
  addNewChild<MvexBox>(movie_.moov, parameters_.duration, movie_.stream);
}

void FragmentWriter::prepareTrack(TrackParameters& parameters) const {
  parameters.sampleCapacity = 0;
}

void FragmentWriter::addTrack() {
  waiting_.emplace_back();
  const auto trackId = static_cast<std::uint32_t>(waiting_.size());
  addNewChild<TrexBox>(*movie_.moov.mvex(), trackId, movie_.stream);
}

FragmentWriter::Waiting& FragmentWriter::waitingOf(const TrackDraft& track) {
  return waiting_[static_cast<std::size_t>(&track - movie_.tracks.data())];
}

// The movie box has grown since it was written, in places all over it.
void FragmentWriter::writeMovieBox() {
  MoovBox& moov = movie_.moov;
  for (const TrackDraft& track : movie_.tracks) track.stbl->stsd()->dropPadding();
  moov.releaseReserve();
  moov.place(moov.start());
  moov.forgetWritten();
  moov.write();
}

// What stands here is a whole movie without edits, so that the file can be played although its
// writer never gets to the finish. Only the edit lists are still to grow.
void FragmentWriter::openHead() {
  writeMovieBox();
  const std::uint64_t end = movie_.moov.start() + movie_.moov.getCurrentSize();
  std::uint64_t room = 0;
  for (TrackDraft& track : movie_.tracks) {
    room += ElstBox::roomFor(track.gapCapacity);
    track.trak->edts()->elst()->reserve(track.gapCapacity);
  }
  movie_.nextBox = end;
  movie_.closeHead(room);
  movie_.coverReserve(end);
}

bool FragmentWriter::endsFragment(const TrackDraft& track, const SampleToWrite& sample,
                                  std::uint64_t mediaTime) const {
  const TrackDraft* video = firstVideoTrack(movie_.tracks);
  if (video != nullptr && (video != &track || !isSync(sample.flags))) return false;
  const Waiting& waiting = waiting_[static_cast<std::size_t>(&track - movie_.tracks.data())];
  const std::uint64_t lasted = mediaTime - waiting.samples.front().mediaTime;
  return track.timeline.toMovieTime(lasted) >= parameters_.duration;
}

void FragmentWriter::completeHeld(Waiting& waiting, std::uint32_t duration) {
  const std::uint64_t length = kRecordLength + waiting.samples.back().size;
  if (completeLength_ + length > kMostBytes) writeFragment();
  waiting.samples.back().duration = duration;
  waiting.holdsLast = false;
  completeLength_ += length;
}

void FragmentWriter::addSample(TrackDraft& track, const SampleToWrite& sample,
                               std::uint64_t mediaTime) {
  if (sample.data.size() > kLongestSample) throw Exception(ErrorCode::sampleTooLarge);
  if (!movie_.isHeadClosed()) openHead();
  Waiting& waiting = waitingOf(track);
  if (waiting.holdsLast) {
    const WaitingSample held = waiting.samples.back();
    if (sample.decodingTime < held.presentationTime || mediaTime < held.mediaTime) {
      throw Exception(ErrorCode::sampleTimeBackwards);
    }
    const std::uint64_t lasts = mediaTime - held.mediaTime;
    completeHeld(waiting, static_cast<std::uint32_t>(std::min(lasts, kLongestDuration)));
    if (lasts > kLongestDuration || held.descriptionIndex != sample.descriptionIndex ||
        endsFragment(track, sample, mediaTime)) {
      writeFragment();
    }
  }
  waiting.samples.push_back({.mediaTime = mediaTime,
                             .presentationTime = sample.decodingTime,
                             .size = static_cast<std::uint32_t>(sample.data.size()),
                             .flags = sample.flags,
                             .compositionOffset = sample.compositionOffset,
                             .descriptionIndex = sample.descriptionIndex});
  waiting.bytes.insert(waiting.bytes.end(), sample.data.begin(), sample.data.end());
  waiting.holdsLast = true;
}

TrunBox& FragmentWriter::addPart(MoofBox& fragment, std::size_t track, std::uint32_t partNumber) {
  Waiting& waiting = waiting_[track];
  const bool hasDependencies = movie_.tracks[track].hasSampleDependencies;
  const std::span samples(waiting.samples.data(), waiting.completeCount());
  NorvikKavStream& stream = movie_.stream;

  auto run = makeBox<TrunBox>(fragment.start(), fragment.start(), stream);
  bool needsDependencyBytes = false;
  for (std::uint32_t i = 0; i < samples.size(); ++i) {
    const WaitingSample& sample = samples[i];
    run->addSample({.duration = sample.duration,
                    .size = sample.size,
                    .flags = fragmentFlags(sample.flags, hasDependencies),
                    .compositionOffset = sample.compositionOffset});
    if (hasDependencies && needsDependencyByte(sample.flags)) needsDependencyBytes = true;
    if (parameters_.hasRandomAccess && isSync(sample.flags)) {
      waiting.syncSamples.push_back({.time = sample.presentationTime,
                                     .moofOffset = fragment.start(),
                                     .trafNumber = partNumber,
                                     .trunNumber = 1,
                                     .sampleNumber = i + 1});
    }
  }

  auto part = makeBox<TrafBox>(stream);
  addNewChild<TfhdBox>(*part, TfhdRecord::kBaseIsMoof | TfhdRecord::kDescriptionIndex,
                       TfhdRecord{.trackId = static_cast<std::uint32_t>(track + 1),
                                  .descriptionIndex = samples.front().descriptionIndex},
                       stream);
  addNewChild<TfdtBox>(*part, samples.front().mediaTime, stream);
  TrunBox& view = *run;
  part->addChild(std::move(run));
  SdtpBox* dependencies = nullptr;
  if (needsDependencyBytes) {
    dependencies = &addNewChild<SdtpBox>(*part, view.sampleCount(), stream);
  }
  fragment.addChild(std::move(part));
  if (dependencies != nullptr) {
    for (const WaitingSample& sample : samples) {
      dependencies->addSampleDependencies(dependenciesOf(sample.flags));
    }
  }
  return view;
}

void FragmentWriter::removeWritten(Waiting& waiting) {
  const auto samples = static_cast<std::ptrdiff_t>(waiting.completeCount());
  const auto bytes = static_cast<std::ptrdiff_t>(waiting.completeBytes());
  waiting.samples.erase(waiting.samples.begin(), waiting.samples.begin() + samples);
  waiting.bytes.erase(waiting.bytes.begin(), waiting.bytes.begin() + bytes);
}

void FragmentWriter::writeFragment() {
  if (completeLength_ == 0) return;
  const OwnedBox<MoofBox> fragment = makeBox<MoofBox>(movie_.stream);
  fragment->place(movie_.nextBox);
  addNewChild<MfhdBox>(*fragment, ++lastSequenceNumber_, movie_.stream);
  std::vector<TrunBox*> runs;
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    if (waiting_[i].completeCount() == 0) continue;
    runs.push_back(&addPart(*fragment, i, static_cast<std::uint32_t>(runs.size() + 1)));
  }

  MdatBox mediaData(movie_.stream, MdatBox::Mode::buffered);
  mediaData.place(fragment->start() + fragment->getCurrentSize());
  auto run = runs.begin();
  for (const Waiting& waiting : waiting_) {
    if (waiting.completeCount() == 0) continue;
    const std::span bytes(waiting.bytes.data(), waiting.completeBytes());
    (*run++)->setDataPosition(mediaData.addSampleData(bytes), fragment->start());
  }
  fragment->write();
  mediaData.write();
  movie_.nextBox = mediaData.start() + mediaData.getCurrentSize();
  for (Waiting& waiting : waiting_) removeWritten(waiting);
  completeLength_ = 0;
}

void FragmentWriter::endMedia() {
  if (!movie_.isHeadClosed()) openHead();
  writeFragment();
}

void FragmentWriter::finish() {
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    const std::uint32_t timescale = movie_.tracks[i].timescale;
    if (waiting_[i].holdsLast) {
      completeHeld(waiting_[i], ticksPerMovieTick(timescale, movie_.parameters.timescale));
    }
  }
  writeFragment();
  MoovBox& moov = movie_.moov;
  moov.mvex()->mehd()->setFragmentDuration(moov.mvhd()->record().duration);
  writeMovieBox();
  const std::uint64_t end = moov.start() + moov.getCurrentSize();
  if (movie_.isHeadClosed()) {
    movie_.coverReserve(end);
  } else {
    movie_.stream.setSize(end);
  }
  if (parameters_.hasRandomAccess) writeRandomAccess();
}

void FragmentWriter::writeRandomAccess() {
  const OwnedBox<MfraBox> index = makeBox<MfraBox>(movie_.stream);
  index->place(movie_.nextBox);
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    if (waiting_[i].syncSamples.empty()) continue;
    auto syncSamples = makeBox<TfraBox>(static_cast<std::uint32_t>(i + 1), movie_.stream);
    for (const TfraBox::Entry& entry : waiting_[i].syncSamples) syncSamples->addEntry(entry);
    index->addChild(std::move(syncSamples));
  }
  if (!index->children().empty()) index->write();
}

}  // namespace norvik::kav::impl
