#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kav/big_endian.h"
#include "kav/box_view.h"

// The parts of boxes that stay the same when samples move and grow, for comparing boxes.
namespace quarrypack::embed {

// Takes boxes off the front of some bytes: a hostile movie has too many for a list.
class Boxes {
 public:
  explicit Boxes(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

  std::optional<norvik::kav::BoxView> next() {
    const std::optional<norvik::kav::BoxView> box = norvik::kav::BoxView::at(rest_);
    if (box) rest_ = rest_.subspan(box->bytes().size());
    return box;
  }
  std::span<const std::uint8_t> rest() const { return rest_; }

 private:
  std::span<const std::uint8_t> rest_;
};

bool areEqual(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b);

// The number at a position in the payload; 0 where the box is too short.
std::uint32_t u32At(const norvik::kav::BoxView& box, std::size_t position);

// What a trun says of its samples, without where they lie and how large they are. Negative offsets
// make it one of version 1.
std::vector<std::uint8_t> withoutPlaces(const norvik::kav::BoxView& trun, bool withoutSizes);

// The content of a tfhd, without the base of the places in its fragment.
std::vector<std::uint8_t> withoutBase(const norvik::kav::BoxView& tfhd);

// A sidx without offsets and sizes.
std::vector<std::uint8_t> withoutOffsets(const norvik::kav::BoxView& sidx);

// Whether two meta boxes, or two udta boxes, are equal but for where items lie.
bool areEqualMetadata(const norvik::kav::BoxView& a, const norvik::kav::BoxView& b);
bool areEqualUserData(const norvik::kav::BoxView& a, const norvik::kav::BoxView& b);

}  // namespace quarrypack::embed
