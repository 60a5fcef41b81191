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

// The pictures that captions can go into, in the order in which they are shown.
struct Screening {
  std::span<const captions::Time> starts;  // ascending, equal ones allowed
  captions::Time end{0};                   // of the last picture
  // For each picture, whether it must stay as it is; empty where none must.
  std::vector<bool> closed = {};
};

struct PlanOptions {
  // Pictures without captions get pairs that say nothing, in the fields that have captions.
  bool pad = true;
};

// Which pairs go into which picture.
class CaptionPlan {
 public:
  std::size_t pictureCount() const { return fields_[0].ends.size(); }

  // The pairs of a picture, 16 of field 1 and 15 of field 2 at most.
  std::span<const captions::BytePair> pairs(captions::Field field, std::size_t picture) const;

  // How many pairs found no picture, and how many did, padding left out.
  std::size_t lostPairs(captions::Field field) const { return fields_[indexOf(field)].lost; }
  std::size_t placedPairs(captions::Field field) const { return fields_[indexOf(field)].placed; }

 private:
  friend class Planner;

  struct FieldPlan {
    std::vector<captions::BytePair> pairs;
    std::vector<std::uint32_t> ends;  // of each picture, among the pairs
    std::size_t lost = 0;
    std::size_t placed = 0;
  };

  std::array<FieldPlan, kFields> fields_;
};

// Makes the plan. The pairs of each field come in their order, each with the time at which it is
// due; the times need not ascend. What happens to a field, in turn:
//
// - Padding is dropped, but for one pair between two equal control codes, which decoders would take
//   for one without it.
// - What was shown and gone before the first picture is dropped.
// - Neighbours that are due closer than a pair lasts are moved apart: unseen loads ahead of an
//   end-of-caption to earlier times, all else to later ones.
// - Each pair goes to the picture whose start is nearest, and to the next where that is full. A
//   picture that is shown for about as long as a pair lasts holds one, a longer one more. What
//   finds no picture, or is due later than a pair's time after the last one, is lost.
//
// The order within a field never changes. Takes time in proportion to pairs and pictures.
CaptionPlan planCaptions(const Screening& screening,
                         std::array<captions::FieldPairs, kFields> fields,
                         PlanOptions options = {});

}  // namespace quarrypack::embed
