#include "kav/impl/writing/writer.h"

#include <algorithm>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/media_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/writing/media_data_writer.h"
#include "kav/sample_info.h"

namespace norvik::kav::impl {
namespace {

// The low byte of a sample's flags gives the kind of sample.
constexpr std::uint32_t kKindMask = 0xFF;

}  // namespace

Writer::Writer(const boost::intrusive_ptr<NorvikIOStream>& stream, const MovieParameters& movie,
               const std::optional<FragmentParameters>& fragments) {
  if (stream == nullptr) throw Exception(ErrorCode::missingArgument);
  if (movie.timescale == 0) throw Exception(ErrorCode::zeroTimescale);
  stream_ = std::make_unique<NorvikKavIOStream>(stream);
  stream_->open();
  root_.reset(new RootBox(*stream_));

  auto& fileType = addNewChild<FtypBox>(*root_, *stream_);
  for (const FourCc brand : {fourCc("isom"), fourCc("mp42"), fourCc("m4v ")}) {
    fileType.addCompatibleBrand(brand);
  }
  fileType.write();

  auto& moov = addNewChild<MoovBox>(*root_, *stream_);
  moov.place(fileType.start() + fileType.extent());
  addNewChild<MvhdBox>(moov, movie, *stream_);
  movie_.emplace(MovieDraft{.stream = *stream_, .parameters = movie, .moov = moov});
  if (fragments) {
    samples_ = std::make_unique<FragmentWriter>(*movie_, *fragments);
  } else {
    samples_ = std::make_unique<MediaDataWriter>(*movie_, *root_);
  }
  moov.write();
  movie_->nextBox = moov.start() + moov.extent();
}

Writer::~Writer() = default;

void Writer::requireOpen() const {
  if (!open_) throw Exception(ErrorCode::writerNotOpen);
}

TrackDraft& Writer::track(std::uint32_t number) {
  if (number == 0 || number > movie_->tracks.size()) throw Exception(ErrorCode::unknownTrack);
  return movie_->tracks[number - 1];
}

std::uint32_t Writer::addTrack(TrackParameters parameters) {
  if (!open_) throw Exception(ErrorCode::addTrackAfterFinish);
  if (hasMetadata_) throw Exception(ErrorCode::tracksClosedByMetadata);
  if (movie_->isHeadClosed()) throw Exception(ErrorCode::tracksClosedBySamples);
  if (parameters.timescale == 0) throw Exception(ErrorCode::zeroTimescale);
  const std::uint32_t movieTimescale = movie_->parameters.timescale;
  const auto number = static_cast<std::uint32_t>(movie_->tracks.size() + 1);
  parameters.trackId = number;
  parameters.movieTimescale = movieTimescale;
  parameters.lastSampleDuration = ticksPerMovieTick(parameters.timescale, movieTimescale);
  samples_->prepareTrack(parameters);

  MoovBox& moov = movie_->moov;
  auto& trak = addNewChild<TrakBox>(moov, parameters, *stream_);
  movie_->tracks.push_back(
      {.trak = &trak,
       .stbl = trak.findStbl(),
       .handlerType = parameters.handlerType,
       .timescale = parameters.timescale,
       .gapCapacity = parameters.editCapacity,
       .hasSampleDependencies = parameters.hasSampleDependencies,
       .timeline = EditTimeline(parameters.timescale, movieTimescale, *trak.edts()->elst())});
  moov.mvhd()->setNextTrackId(number + 1);
  samples_->addTrack();
  movie_->nextBox = moov.start() + moov.extent();
  return number;
}

void Writer::addSampleDescription(std::uint32_t trackNumber, const SampleDescriptor& description) {
  requireOpen();
  TrackDraft& target = track(trackNumber);
  if (movie_->isHeadClosed()) throw Exception(ErrorCode::tracksClosedBySamples);
  StsdBox& descriptions = *target.stbl->stsd();
  const std::uint64_t room = descriptions.extent();
  descriptions.addSampleEntry(target.handlerType, description);
  ++target.descriptionCount;
  if (descriptions.extent() != room) moveTables();
}

// Writes the movie box again, with everything in it moved past what has grown. Nothing follows it
// yet, and its tables are empty.
void Writer::moveTables() {
  MoovBox& moov = movie_->moov;
  moov.layOut();
  moov.place(moov.start());
  moov.forgetWritten();
  moov.write();
  movie_->nextBox = moov.start() + moov.extent();
}

void Writer::addSample(const SampleToWrite& sample) {
  requireOpen();
  TrackDraft& target = track(sample.trackNumber);
  if ((sample.flags & kKindMask) == kSampleIsGap) {
    target.timeline.addGap(sample.decodingTime);
    return;
  }
  // A track may have no descriptions; its samples then refer to the first.
  const std::uint32_t lastDescription = std::max(target.descriptionCount, 1U);
  if (sample.descriptionIndex == 0 || sample.descriptionIndex > lastDescription) {
    throw Exception(ErrorCode::unknownDescription);
  }
  const std::uint64_t mediaTime = target.timeline.addSample(sample.decodingTime);
  if (!earlyMetadata_.empty()) writeEarlyMetadata();
  samples_->addSample(target, sample, mediaTime);
}

void Writer::setXMPMetadata(std::span<const std::uint8_t> packet) {
  requireOpen();
  if (packet.size() > kLargestMetadata) throw Exception(ErrorCode::metadataTooLarge);
  if (movie_->tracks.empty()) {
    earlyMetadata_.emplace_back(packet.begin(), packet.end());
    return;
  }
  writeEarlyMetadata();
  writeMetadata(packet);
}

void Writer::writeEarlyMetadata() {
  if (earlyMetadata_.empty()) return;
  const std::vector<std::vector<std::uint8_t>> packets = std::exchange(earlyMetadata_, {});
  for (const std::vector<std::uint8_t>& packet : packets) writeMetadata(packet);
}

void Writer::writeMetadata(std::span<const std::uint8_t> packet) {
  samples_->endMedia();
  auto& metadata = addNewChild<XMPDataBox>(*root_, *stream_);
  metadata.setPayload(packet);
  metadata.place(movie_->nextBox);
  metadata.write();
  movie_->nextBox += metadata.extent();
  hasMetadata_ = true;
}

void Writer::setDurations() {
  std::uint64_t longest = 0;
  for (TrackDraft& target : movie_->tracks) {
    const std::uint64_t mediaDuration = target.timeline.mediaDuration();
    const std::uint64_t movieDuration = target.timeline.toMovieTime(mediaDuration);
    target.trak->tkhd()->setDuration(movieDuration);
    target.trak->mdia()->mdhd()->setDuration(mediaDuration);
    longest = std::max(longest, movieDuration);
    target.timeline.finish();
  }
  movie_->moov.mvhd()->setDuration(longest);
}

void Writer::finish() {
  requireOpen();
  open_ = false;
  writeEarlyMetadata();
  setDurations();
  samples_->finish();
  samples_.reset();
  movie_.reset();
  root_.reset();
  stream_.reset();
}

}  // namespace norvik::kav::impl
