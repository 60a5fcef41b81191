#include "kav/impl/writing/fragment_writer.h"

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/table_box.h"
#include "kav/impl/boxes/table_boxes.h"
#include "kav/sample_info.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kDefaultFragmentSeconds = 2;

constexpr std::uint64_t kLongestDuration = std::numeric_limits<std::uint32_t>::max();

// The length of a sample's record in its run.
constexpr std::uint64_t kRecordLength = 16;

// The flags of a sample in the form of a fragment. They have room for an sdtp byte.
constexpr unsigned kDependencyShift = 20;
constexpr std::uint32_t kNotSync = 0x00010000;
constexpr std::uint32_t kDependsOnOthers = 0x01000000;
constexpr std::uint32_t kDependsOnNone = 0x02000000;

bool isSync(std::uint32_t flags) { return (flags & 0xFF) == kSampleIsSync; }

std::uint8_t dependenciesOf(std::uint32_t flags) {
  return static_cast<std::uint8_t>(flags >> kSampleDependencyShift & 0xFF);
}

// Players treat a sample as a sync sample only if its flags do not say that it depends on others.
std::uint32_t fragmentFlags(std::uint32_t flags, bool hasDependencies) {
  if (!hasDependencies) return isSync(flags) ? kDependsOnNone : kNotSync | kDependsOnOthers;
  const std::uint32_t dependencies = std::uint32_t{dependenciesOf(flags)} << kDependencyShift;
  return isSync(flags) ? dependencies & ~kDependsOnOthers : dependencies | kNotSync;
}

// Whether the flags of a fragment cannot express the sdtp byte of a sample.
bool needsDependencyByte(std::uint32_t flags) {
  return isSync(flags) &&
         (std::uint32_t{dependenciesOf(flags)} << kDependencyShift & kDependsOnOthers) != 0;
}

const TrackDraft* firstVideoTrack(const std::vector<TrackDraft>& tracks) {
  const auto found = std::find_if(tracks.begin(), tracks.end(), [](const TrackDraft& track) {
    return track.handlerType == fourCc("vide");
  });
  return found == tracks.end() ? nullptr : &*found;
}

}  // namespace

FragmentWriter::FragmentWriter(MovieDraft& movie, const FragmentParameters& parameters)
    : movie_(movie), parameters_(parameters) {
  addNewChild<MvexBox>(movie_.moov, parameters_.duration, movie_.stream);
  if (parameters_.duration == 0) {
    parameters_.duration = kDefaultFragmentSeconds * movie_.parameters.timescale;
  }
}

void FragmentWriter::prepareTrack(TrackParameters& parameters) const {
  plausibleCapacity(parameters.sampleCapacity, ErrorCode::implausibleCount);
  parameters.sampleCapacity = 0;
}

// The defaults of the track lie before all tracks, which move unless there is room for them. The
// file ends with the movie box, although that has room to which nothing was written.
void FragmentWriter::addTrack() {
  waiting_.emplace_back();
  MoovBox& moov = movie_.moov;
  if (moov.addTrackDefaults(static_cast<std::uint32_t>(waiting_.size()))) {
    moov.forgetWritten();
    moov.write();
  } else {
    moov.mvex()->children().back()->write();
    moov.mvhd()->write();
    movie_.tracks.back().trak->write();
    moov.patchSize();
  }
  coverRoomForDefaults();
  movie_.stream.setSize(moov.start() + moov.extent());
}

void FragmentWriter::coverRoomForDefaults() {
  const MvexBox& extends = *movie_.moov.mvex();
  const std::uint64_t filled = extends.filledSize();
  const std::uint64_t room = extends.extent() - filled;
  if (room == 0) return;
  SkipBox cover(room, movie_.stream, SkipBox::Fill::hole, fourCc("free"));
  cover.place(extends.start() + filled);
  cover.write();
}

FragmentWriter::Waiting& FragmentWriter::waitingOf(const TrackDraft& track) {
  return waiting_[static_cast<std::size_t>(&track - movie_.tracks.data())];
}

// The movie box has grown since it was written, in many places.
void FragmentWriter::writeMovieBox() {
  MoovBox& moov = movie_.moov;
  for (const TrackDraft& track : movie_.tracks) track.stbl->stsd()->dropPadding();
  moov.releaseReserve();
  moov.place(moov.start());
  moov.forgetWritten();
  moov.write();
}

// From here on the file holds a complete movie without edits, so that it can be played even if its
// writer never reaches the finish. Only the edit lists still grow.
void FragmentWriter::openHead() {
  writeMovieBox();
  const std::uint64_t end = movie_.moov.start() + movie_.moov.extent();
  std::uint64_t room = 0;
  for (TrackDraft& track : movie_.tracks) {
    room += ElstBox::roomFor(track.gapCapacity);
    track.trak->edts()->elst()->reserve(track.gapCapacity);
  }
  movie_.nextBox = end;
  movie_.closeHead(room);
  movie_.coverReserve(end);
  movie_.stream.setSize(movie_.nextBox);
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
  waiting.reached->endTime = wrappingAdd(waiting.reached->mediaTime, duration);
  waiting.holdsLast = false;
  completeLength_ += length;
}

// Without a next sample, a sample lasts as long as the last one of a track does.
void FragmentWriter::completeAllHeld() {
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    if (!waiting_[i].holdsLast) continue;
    const std::uint32_t timescale = movie_.tracks[i].timescale;
    completeHeld(waiting_[i], ticksPerMovieTick(timescale, movie_.parameters.timescale));
  }
}

void FragmentWriter::addSample(TrackDraft& track, const SampleToWrite& sample,
                               std::uint64_t mediaTime) {
  if (sample.size > kLongestSample) throw Exception(ErrorCode::sampleTooLarge);
  if (!movie_.isHeadClosed()) openHead();
  Waiting& waiting = waitingOf(track);
  if (waiting.reached && (sample.decodingTime < waiting.reached->presentationTime ||
                          mediaTime < waiting.reached->mediaTime)) {
    throw Exception(ErrorCode::sampleTimeBackwards);
  }
  if (waiting.holdsLast) {
    const std::uint32_t heldDescription = waiting.samples.back().descriptionIndex;
    const std::uint64_t lasts = mediaTime - waiting.reached->mediaTime;
    completeHeld(waiting, static_cast<std::uint32_t>(std::min(lasts, kLongestDuration)));
    if (lasts > kLongestDuration || heldDescription != sample.descriptionIndex ||
        endsFragment(track, sample, mediaTime)) {
      writeFragment();
    }
  }
  waiting.samples.push_back({.mediaTime = mediaTime,
                             .presentationTime = sample.decodingTime,
                             .size = sample.size,
                             .flags = sample.flags,
                             .compositionOffset = sample.compositionOffset,
                             .descriptionIndex = sample.descriptionIndex});
  waiting.bytes.insert(waiting.bytes.end(), sample.bytes().begin(), sample.bytes().end());
  waiting.holdsLast = true;
  if (!waiting.reached) waiting.reached = Reached{};
  waiting.reached->mediaTime = mediaTime;
  waiting.reached->presentationTime = sample.decodingTime;
}

// A part without samples states only the time that its track has reached, and not even that while
// it is unknown.
TrunBox* FragmentWriter::addPart(MoofBox& fragment, std::size_t track) {
  const Waiting& waiting = waiting_[track];
  const std::span samples = waiting.complete();
  NorvikKavStream& stream = movie_.stream;
  auto part = makeBox<TrafBox>(stream);
  TfhdRecord header{.trackId = static_cast<std::uint32_t>(track + 1)};
  std::uint32_t flags = TfhdRecord::kBaseIsMoof;
  if (!samples.empty()) {
    flags |= TfhdRecord::kDescriptionIndex;
    header.descriptionIndex = samples.front().descriptionIndex;
  }
  addNewChild<TfhdBox>(*part, flags, header, stream);
  if (waiting.reached) addNewChild<TfdtBox>(*part, waiting.startTime(), stream);
  TrunBox* run = samples.empty() ? nullptr : &addRun(*part, fragment, track);
  SdtpBox* dependencies = nullptr;
  if (movie_.tracks[track].hasSampleDependencies &&
      std::any_of(samples.begin(), samples.end(),
                  [](const WaitingSample& sample) { return needsDependencyByte(sample.flags); })) {
    dependencies = &addNewChild<SdtpBox>(*part, run->sampleCount(), stream);
  }
  fragment.addChild(std::move(part));
  if (dependencies != nullptr) {
    for (const WaitingSample& sample : samples) {
      dependencies->addSampleDependencies(dependenciesOf(sample.flags));
    }
  }
  return run;
}

TrunBox& FragmentWriter::addRun(TrafBox& part, const MoofBox& fragment, std::size_t track) {
  const bool hasDependencies = movie_.tracks[track].hasSampleDependencies;
  auto run = makeBox<TrunBox>(fragment.start(), fragment.start(), movie_.stream);
  for (const WaitingSample& sample : waiting_[track].complete()) {
    run->addSample({.duration = sample.duration,
                    .size = sample.size,
                    .flags = fragmentFlags(sample.flags, hasDependencies),
                    .compositionOffset = sample.compositionOffset});
  }
  TrunBox& added = *run;
  part.addChild(std::move(run));
  return added;
}

void FragmentWriter::noteSyncSamples(std::size_t track, std::uint64_t fragmentStart) {
  Waiting& waiting = waiting_[track];
  std::uint32_t number = 0;
  for (const WaitingSample& sample : waiting.complete()) {
    ++number;
    if (!isSync(sample.flags)) continue;
    waiting.syncSamples.push_back({.time = sample.presentationTime,
                                   .moofOffset = fragmentStart,
                                   .trafNumber = static_cast<std::uint32_t>(track + 1),
                                   .trunNumber = 1,
                                   .sampleNumber = number});
  }
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
  std::vector<TrunBox*> runs;  // by track
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    runs.push_back(addPart(*fragment, i));
    if (parameters_.hasRandomAccess) noteSyncSamples(i, fragment->start());
  }

  MdatBox mediaData(movie_.stream, MdatBox::Mode::buffered);
  mediaData.place(fragment->start() + fragment->extent());
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    if (runs[i] == nullptr) continue;
    const std::span bytes(waiting_[i].bytes.data(), waiting_[i].completeBytes());
    runs[i]->setDataPosition(mediaData.addSampleData(bytes), fragment->start());
  }
  fragment->write();
  mediaData.write();
  movie_.nextBox = mediaData.start() + mediaData.extent();
  for (Waiting& waiting : waiting_) removeWritten(waiting);
  completeLength_ = 0;
}

void FragmentWriter::endMedia() {
  if (!movie_.isHeadClosed()) openHead();
  completeAllHeld();
  writeFragment();
}

void FragmentWriter::finish() {
  completeAllHeld();
  writeFragment();
  MoovBox& moov = movie_.moov;
  moov.mvex()->mehd()->setFragmentDuration(moov.mvhd()->record().duration);
  writeMovieBox();
  const std::uint64_t end = moov.start() + moov.extent();
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
