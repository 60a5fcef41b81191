#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "kav/impl/reading/edit_segments.h"
#include "kav/impl/reading/media_iter_creator.h"
#include "kav/impl/reading/sample_iterator.h"

namespace norvik::kav::impl {

// A track as its edit list shows it: the samples of each segment's stretch of media, moved to the
// time at which the segment is shown, and one empty-edit sample for each segment without media.
// That sample belongs to the fragment of the sample delivered before it.
class PresentationIter final : public SampleIterator {
 public:
  // The samples that are shown from start on, ending before the first that is shown at or after
  // end, both in the media timescale. Media that is shown before the start is not walked.
  PresentationIter(std::unique_ptr<IMediaIterCreator> creator, std::vector<EditSegment> segments,
                   std::uint32_t movieTimescale, std::uint32_t mediaTimescale, std::uint64_t start,
                   std::uint64_t end);

  bool hasNext() override;
  bool take(Sample& sample) override;

 private:
  void nextSegment();
  void openSegment();
  std::uint64_t endOf(const EditSegment& segment) const;  // media timescale

  // Holds the next sample that the edit list shows, if there is one.
  void fetch();
  bool fetchFromMedia();
  void holdEmptySample();

  std::unique_ptr<IMediaIterCreator> creator_;
  std::vector<EditSegment> segments_;
  std::uint32_t movieTimescale_;
  std::uint32_t mediaTimescale_;
  std::uint64_t start_;
  std::uint64_t end_;

  std::size_t segment_ = 0;
  std::uint64_t segmentStart_ = 0;  // media timescale
  std::uint64_t segmentEnd_ = 0;
  std::uint64_t firstTime_ = 0;  // the media time at which the shown samples begin
  std::optional<std::uint32_t> fragmentSequence_;  // of the latest sample, if it is of a fragment
  std::unique_ptr<SampleIterator> media_;
  Sample held_;
  bool holds_ = false;  // held_ comes next
};

}  // namespace norvik::kav::impl
