#pragma once

#include <cstdint>
#include <memory>

#include "kav/impl/reading/passed_runs.h"
#include "kav/impl/reading/sample_iterator.h"
#include "kav/impl/reading/track_record.h"

namespace norvik::kav::impl {

// Makes what a walk over an edit list needs: iterators over a track's media, and the samples that
// represent empty edits.
class IMediaIterCreator {
 public:
  virtual ~IMediaIterCreator() = default;

  // The samples of the media from a decoding time on, in the media timescale.
  virtual std::unique_ptr<SampleIterator> createMediaIterator(std::uint64_t start) = 0;

  // A sample without bytes that represents an empty edit, at a time in the media timescale.
  virtual SamplePtr createEmptySample(std::uint64_t time) = 0;
};

// The creator for one track of a document. It refers to the track and owns nothing. movieBegin is
// the time 0 of the movie as its fragments state it, in the media timescale.
class MediaIterCreator final : public IMediaIterCreator {
 public:
  MediaIterCreator(const TrackRecord& track, std::uint64_t context, bool ignoreEditLists,
                   std::uint64_t movieBegin = 0);

  std::unique_ptr<SampleIterator> createMediaIterator(std::uint64_t start) override;
  SamplePtr createEmptySample(std::uint64_t time) override;

  // Like createMediaIterator, but ends before the first sample at or after a decoding time.
  std::unique_ptr<SampleIterator> createMediaIterator(std::uint64_t start, std::uint64_t end);

  bool ignoresEditLists() const { return ignoreEditLists_; }
  bool isFragmented() const { return fragmented_; }

 private:
  const TrackRecord& track_;
  std::uint64_t context_;
  bool ignoreEditLists_;
  bool fragmented_;
  std::uint64_t movieBegin_;
  std::shared_ptr<PassedRuns> passedRuns_;  // shared by all iterators over fragments
};

}  // namespace norvik::kav::impl
