#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "captions/cea608.h"
#include "captions/time.h"

namespace quarrypack::embed {

inline constexpr std::size_t kFields = captions::kBothFields.size();

// The pictures of a film, in the order in which they are shown.
struct Screening {
  std::span<const captions::Time> starts;  // ascending, equal ones allowed
  captions::Time end{0};                   // of the last picture
  // For each picture, whether it must stay unchanged; empty if none must.
  std::vector<bool> closed = {};
};

struct PlanOptions {
  // Pictures without captions get padding, in the fields that have captions.
  bool pad = true;
};

// Which pairs go into which picture.
class CaptionPlan {
 public:
  std::size_t pictureCount() const { return pictureCount_; }

  // The pairs of a picture: at most 16 of field 1 and 15 of field 2.
  std::span<const captions::BytePair> pairs(captions::Field field, std::size_t picture) const;

  // How many pairs found no picture, and how many did, padding left out.
  std::size_t lostPairs(captions::Field field) const { return fields_[indexOf(field)].lost; }
  std::size_t placedPairs(captions::Field field) const { return fields_[indexOf(field)].placed; }

 private:
  friend class Planner;

  struct FieldPlan {
    std::vector<captions::BytePair> pairs;
    std::vector<std::uint32_t> ends;  // of each picture, among the pairs; empty without pairs
    std::size_t lost = 0;
    std::size_t placed = 0;
  };

  std::size_t pictureCount_ = 0;
  std::array<FieldPlan, kFields> fields_;
};

// Makes the plan. The pairs of a field are in transmission order, each with the time at which it is
// due; the times need not ascend. These steps are applied to each field:
//
// - Padding is dropped, except for one pair between two equal control codes. Without it decoders
//   would take the two codes for one that is sent twice.
// - What was shown and erased before the first picture is dropped.
// - Neighbours that are due closer together than a pair lasts are moved apart: unseen loads before
//   an end-of-caption to earlier times, all other pairs to later ones.
// - Each pair goes to the picture whose start is nearest, or to the next one if that is full. A
//   picture that is shown for about as long as a pair lasts holds one, a longer one more. A pair
//   that finds no picture, or is due more than a pair's time after the last one, is lost.
//
// The order within a field never changes. Takes time in proportion to pairs and pictures.
CaptionPlan planCaptions(const Screening& screening,
                         std::array<captions::FieldPairs, kFields> fields,
                         PlanOptions options = {});

}  // namespace quarrypack::embed
