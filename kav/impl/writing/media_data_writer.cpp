#include "kav/impl/writing/media_data_writer.h"

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/tree/root_box.h"
#include "kav/impl/writing/movie_packing.h"

namespace norvik::kav::impl {

// Of the movie box, writes only what is new or has changed: otherwise each of thousands of tracks
// would write all others again.
void MediaDataWriter::addTrack() {
  movie_.tracks.back().trak->write();
  movie_.moov.mvhd()->write();
  movie_.moov.patchSize();
}

void MediaDataWriter::beginMedia() {
  if (!movie_.isHeadClosed()) movie_.closeHead(0);
  mediaData_ = &addNewChild<MdatBox>(root_, movie_.stream);
  mediaData_->place(movie_.nextBox);
  mediaData_->write();
}

void MediaDataWriter::completeMedia() {
  if (mediaData_ == nullptr) return;
  mediaData_->write();
  movie_.nextBox = mediaData_->start() + mediaData_->extent();
  mediaData_ = nullptr;
}

void MediaDataWriter::endMedia() {
  if (!movie_.isHeadClosed()) movie_.closeHead(0);
  completeMedia();
}

void MediaDataWriter::addSample(TrackDraft& track, const SampleToWrite& sample,
                                std::uint64_t mediaTime) {
  if (mediaData_ == nullptr) beginMedia();
  const std::uint64_t offset = mediaData_->addSampleData(sample.bytes());
  Sample written;
  written.info.size = sample.size;
  written.info.decodingTime = mediaTime;
  written.info.compositionOffset = sample.compositionOffset;
  written.info.flags = sample.flags;
  written.fileOffset = offset;
  written.descriptionIndex = sample.descriptionIndex;
  track.stbl->addSample(written);
}

void MediaDataWriter::finish() {
  completeMedia();
  for (const TrackDraft& track : movie_.tracks) track.stbl->stsd()->dropPadding();
  movie_.moov.write();
  const std::uint64_t end = packTree(movie_.moov);
  if (movie_.isHeadClosed()) {
    movie_.coverReserve(end);
  } else {
    movie_.stream.setSize(end);
  }
}

}  // namespace norvik::kav::impl
