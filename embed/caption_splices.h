#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "captions/cc_data.h"
#include "embed/caption_plan.h"
#include "embed/offset_map.h"
#include "embed/output_layout.h"
#include "embed/picture_units.h"

namespace quarrypack::embed {

// A picture that captions can go into.
struct Picture {
  std::uint64_t offset = 0;  // of its sample, in the input
  std::uint32_t size = 0;    // of its sample
  std::uint32_t place = 0;   // where captions go, in its sample
  std::uint16_t coding = 0;  // its place in the list of codings
  std::uint8_t temporalId = 0;

  std::uint64_t placeInFile() const { return offset + place; }
};

// The splices that a plan requires: an SEI unit is inserted into each picture that gets pairs, and
// units of earlier captions are removed.
//
//     CaptionSplices captions(pictures, shown, codings, plan);
//     captions.cut(picture, units.cuts);                  // for every picture that has some
//     std::vector<Splice> splices = captions.splices(unused);
//
// Units are built when they are measured, and again when they are written: building is cheap, and
// the units of a whole film would take much memory.
class CaptionSplices final : public MediaContent {
 public:
  // shown has the numbers of the pictures of the plan, in its order, and codings those that
  // pictures name. All must outlive this object.
  CaptionSplices(std::span<const Picture> pictures, std::span<const std::uint32_t> shown,
                 std::span<const PictureCoding> codings, const CaptionPlan& plan);

  // Removes units from a sample. Copies what stays of them.
  void cut(std::uint64_t sampleOffset, std::span<const CaptionCut> cuts);

  // All splices of the samples, and the ranges that are no longer used, at ascending offsets. Call
  // it once, after the cuts. Throws Refusal if pictures that change share bytes.
  std::vector<Splice> splices(std::vector<Splice> unused);

  // Pictures that get a unit.
  std::size_t captionedPictures() const { return order_.size(); }

  void append(const Splice& splice, OutputBuffer& output) override;

  // The unit of a picture, by its place in the plan, with its length field. Empty if it gets none.
  // Valid until the next call of any function.
  std::span<const std::uint8_t> unitOf(std::size_t place);

 private:
  struct Cut {
    std::uint64_t offset;  // in the file
    std::uint32_t length;
    std::uint32_t restLength;
    std::size_t rest;  // place in rests_
  };

  // By its place in the plan.
  const Picture& picture(std::size_t place) const { return pictures_[shown_[place]]; }
  void requireApart() const;

  std::span<const Picture> pictures_;
  std::span<const std::uint32_t> shown_;
  std::span<const PictureCoding> codings_;
  const CaptionPlan& plan_;
  std::vector<std::uint32_t> order_;  // pictures of the plan with a unit, as they lie in the file
  std::vector<Cut> cuts_;
  std::vector<std::uint8_t> rests_;
  std::size_t nextPicture_ = 0;
  std::size_t nextCut_ = 0;
  std::vector<captions::CcTriplet> triplets_;
  std::vector<std::uint8_t> unit_;
};

}  // namespace quarrypack::embed
