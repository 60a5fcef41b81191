#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/reading/passed_runs.h"
#include "kav/impl/reading/sample_iterator.h"
#include "kav/impl/reading/track_record.h"

namespace norvik::kav::impl {

// The samples of a track in a fragmented movie: those of the movie's own sample tables, if it has
// any, and then those of the fragments, in file order. Fragments are read on demand.
//
// As in a movie without fragments, a sample whose description is missing is the last of its track.
//
// If a part states the decoding time of its first sample, that time is used, so that a lost
// fragment does not shift what follows. Otherwise the times add up. Stated times count from the
// beginning of the movie, which is not 0 in an excerpt of a longer one.
class FragmentedTrackIterator final : public SampleIterator {
 public:
  // The samples from a decoding time on, ending before the first at or after another, both in the
  // media timescale. Iterators of one track may share their knowledge of its runs. movieBegin is
  // the time 0 of the movie as its fragments state it, also in the media timescale. Throws
  // noTrackDefaults for a track with fragments but no trex.
  FragmentedTrackIterator(const TrackRecord& track, std::uint64_t context, std::uint64_t start,
                          std::uint64_t end, std::shared_ptr<PassedRuns> passedRuns = nullptr,
                          std::uint64_t movieBegin = 0);

  bool hasNext() override;
  bool take(Sample& sample) override;

  // How many fragments have been passed.
  std::size_t fragmentsPassed() const { return fragmentsPassed_; }
  std::size_t partsPassed() const { return partsPassed_; }
  std::size_t runsPassed() const { return runsPassed_; }

  // How many fragments hold samples of the track, as far as the walk has got.
  std::size_t fragmentsOpened() const { return nextFragment_; }

 private:
  void openMovieSamples();
  bool takeOfMovie(Sample& sample);

  // Places the iterator at the first sample of the fragments.
  void begin();
  void beginAfter(const Sample& lastOfMovie);

  // Places the iterator at the next sample within the range, or at the end.
  void settle();
  bool openNextRun();
  bool openNextPart();
  bool openNextFragment();
  void noteRun();
  void jump();
  void leaveRun();
  void fill(Sample& sample) const;
  std::uint8_t dependenciesOf(std::uint32_t sampleFlags) const;

  const TrackRecord& track_;
  const Sample blank_;  // the fields that all samples of the track share
  std::uint64_t start_;
  std::uint64_t end_;
  std::uint64_t movieBegin_;

  std::unique_ptr<SampleIterator> movieSamples_;  // until they are used up
  bool ended_ = false;

  std::size_t nextFragment_ = 0;  // among those of the track
  MoofBox* fragment_ = nullptr;
  std::span<TrafBox* const> parts_;  // of the fragment, beginning with the current one
  std::size_t run_ = 0;              // of the current part, the next one
  std::uint64_t runBase_ = 0;        // in the file: the base of the run's data offset
  std::optional<TrunBox::Cursor> samples_;
  std::shared_ptr<PassedRuns> passedRuns_;
  std::uint64_t decodingTime_ = 0;
  std::size_t samplesOfPart_ = 0;  // in the passed runs of the part

  std::size_t fragmentsPassed_ = 0;
  std::size_t partsPassed_ = 0;
  std::size_t runsPassed_ = 0;
};

}  // namespace norvik::kav::impl
