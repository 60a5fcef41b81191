#include "embed/box_nesting.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "embed/box_rebuild.h"
#include "embed/refusal.h"
#include "kav/big_endian.h"
#include "kav/four_cc.h"

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::FourCc;
using norvik::kav::fourCc;
using norvik::kav::loadU32;
using norvik::kav::textOf;

namespace {

struct Nesting {
  FourCc outer;
  FourCc inner;

  friend bool operator==(const Nesting&, const Nesting&) = default;
};
constexpr std::array kNestings = {
    Nesting{fourCc("moov"), fourCc("trak")}, Nesting{fourCc("moov"), fourCc("mvex")},
    Nesting{fourCc("trak"), fourCc("mdia")}, Nesting{fourCc("mdia"), fourCc("minf")},
    Nesting{fourCc("minf"), fourCc("stbl")}, Nesting{fourCc("moof"), fourCc("traf")}};

bool isNested(const BoxView& inner, const BoxView& outer) {
  const Nesting nesting{outer.type(), inner.type()};
  return std::find(kNestings.begin(), kNestings.end(), nesting) != kNestings.end();
}

// Whether bytes that hold no whole box are the beginning of one. Others are padding.
bool beginBox(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kHeader = 8;
  constexpr std::uint32_t kLargeSize = 1;
  if (bytes.size() < kHeader) return false;
  const std::uint32_t size = loadU32(bytes.data());
  return size == kLargeSize || size > bytes.size();
}

}  // namespace

void requireWholeBoxes(const BoxView& container, const std::string& label) {
  const auto rest = forEachBox(container.payload(), [&](const BoxView& box) {
    if (isNested(box, container)) requireWholeBoxes(box, label);
  });
  if (!beginBox(rest)) return;
  throw Refusal(label + ": the box '" + textOf(loadU32(rest.data() + 4)) +
                "' is longer than the box '" + textOf(container.type()) +
                "' that it lies in. The file is damaged");
}

}  // namespace quarrypack::embed
