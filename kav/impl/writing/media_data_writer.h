#pragma once

#include "kav/impl/writing/sample_sink.h"

namespace norvik::kav::impl {

class MdatBox;
class RootBox;

// The samples of a regular movie. Their bytes go directly into the media data box and their records
// into the tables of the movie box, which have room for the announced number. Nothing is kept in
// memory. At the finish the tables are packed.
class MediaDataWriter final : public SampleSink {
 public:
  MediaDataWriter(MovieDraft& movie, RootBox& root) : movie_(movie), root_(root) {}

  // The tables of the track refuse an announced number that is too large.
  void prepareTrack(TrackParameters&) const override {}
  void addTrack() override;
  void addSample(TrackDraft& track, const SampleToWrite& sample, std::uint64_t mediaTime) override;
  void endMedia() override;
  void finish() override;

 private:
  void beginMedia();
  void completeMedia();

  MovieDraft& movie_;
  RootBox& root_;
  MdatBox* mediaData_ = nullptr;  // open for samples
};

}  // namespace norvik::kav::impl
