#include "embed/caption_plan.h"

#include "captions/caption_opening.h"
#include "captions/visible_codes.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

namespace quarrypack::embed {

using captions::BytePair;
using captions::Field;
using captions::FieldPairs;
using captions::kPadding;
using captions::kPairTime;
using captions::Time;
using captions::TimedPair;

namespace {

// Neighbours may be a little closer than a pair lasts: at 30 pictures a second each picture is
// meant to hold a pair.
constexpr Time kClosest = kPairTime * 19 / 20;

// A picture is preferred to an earlier one that is nearer by no more than this.
constexpr Time kLaterPreference = kPairTime / 20;
static_assert(kPairTime % 20 == Time{0});

// How far outside the film times still differ.
constexpr Time kMargin = kPairTime * 1000;

constexpr std::array<std::size_t, kFields> kMostPairs{16, 15};

BytePair withoutParity(BytePair pair) {
  return {static_cast<std::uint8_t>(pair.first & 0x7F),
          static_cast<std::uint8_t>(pair.second & 0x7F)};
}

bool areEqualControls(BytePair a, BytePair b) {
  return a.isControl() && withoutParity(a) == withoutParity(b);
}

// ---- Padding in the input

void dropPadding(FieldPairs& field) {
  std::size_t kept = 0;
  std::optional<TimedPair> padding;  // the first one after what was kept last
  for (const TimedPair& pair : field) {
    if (pair.bytes.isPadding()) {
      if (!padding) padding = TimedPair{pair.time, kPadding};
      continue;
    }
    // There is room: the padding was read from this field.
    if (padding && kept > 0 && areEqualControls(field[kept - 1].bytes, pair.bytes)) {
      field[kept++] = *padding;
    }
    padding.reset();
    field[kept++] = pair;
  }
  field.resize(kept);
}

// ---- Spacing

// Finds the pairs that take effect out of sight: those between a code that starts loading and one
// that shows something.
class Visibility {
 public:
  // Must be called with every pair in turn.
  bool isVisible(BytePair pair) {
    if (pair.isControl()) current_ = captions::isForSecondChannel(pair) ? 1 : 0;
    constexpr std::uint8_t kResumeLoading = 0x20;
    const std::uint8_t code = captions::commandCode(pair);
    if (code == kResumeLoading) direct_[current_] = false;
    if (captions::isEndOfCaption(pair)) direct_[current_] = false;
    if (captions::isVisibleCode(pair)) {
      if (code < 0x2C) direct_[current_] = true;
      return true;
    }
    return direct_[current_] && !pair.isPadding();
  }

 private:
  std::array<bool, 2> direct_{};  // for each channel, whether text appears as it is written
  std::size_t current_ = 0;
};

std::vector<bool> visiblePairs(const FieldPairs& field) {
  std::vector<bool> visible;
  visible.reserve(field.size());
  Visibility visibility;
  for (const TimedPair& pair : field) visible.push_back(visibility.isVisible(pair.bytes));
  return visible;
}

void moveLoadsEarlier(FieldPairs& field) {
  const std::vector<bool> visible = visiblePairs(field);
  for (std::size_t end = 0; end < field.size(); ++end) {
    if (!captions::isEndOfCaption(field[end].bytes)) continue;
    for (std::size_t i = end; i > 0 && !visible[i - 1]; --i) {
      if (field[i].time - field[i - 1].time < kClosest) {
        field[i - 1].time = field[i].time - kPairTime;
      }
    }
  }
}

void moveTheRestLater(FieldPairs& field, Time start) {
  if (field.empty()) return;
  field[0].time = std::max(field[0].time, start);
  for (std::size_t i = 1; i < field.size(); ++i) {
    if (field[i].time - field[i - 1].time < kClosest) field[i].time = field[i - 1].time + kPairTime;
  }
}

}  // namespace

std::span<const BytePair> CaptionPlan::pairs(Field field, std::size_t picture) const {
  const FieldPlan& plan = fields_[indexOf(field)];
  if (plan.ends.empty()) return {};
  const std::size_t begin = picture == 0 ? 0 : plan.ends[picture - 1];
  return std::span(plan.pairs).subspan(begin, plan.ends[picture] - begin);
}

class Planner {
 public:
  Planner(const Screening& screening, PlanOptions options)
      : starts_(screening.starts),
        end_(starts_.empty() ? screening.end : std::max(screening.end, starts_.back())),
        closed_(screening.closed),
        options_(options) {}

  CaptionPlan plan(std::array<FieldPairs, kFields> fields) {
    for (std::size_t i = 0; i < kFields; ++i) {
      prepare(fields[i]);
      place(fields[i], i);
      FieldPairs().swap(fields[i]);  // frees their memory
    }
    merge();
    return std::move(plan_);
  }

 private:
  struct Placed {
    std::uint32_t picture;
    BytePair bytes;
    bool noPaddingBefore;  // a repetition that padding would make a second code
  };

  // Finds the nearest pictures of ascending times.
  class Nearest {
   public:
    explicit Nearest(std::span<const Time> starts) : starts_(starts) {}

    std::size_t at(Time time) {
      while (picture_ + 1 < starts_.size() &&
             (starts_[picture_ + 1] - time) - (time - starts_[picture_]) <= kLaterPreference) {
        ++picture_;
      }
      return picture_;
    }

   private:
    std::span<const Time> starts_;
    std::size_t picture_ = 0;
  };

  bool isClosed(std::size_t picture) const { return !closed_.empty() && closed_[picture]; }

  // Twice the time from the middle between a picture and the one before to the middle between it
  // and the next.
  Time doubleCell(std::size_t picture) const {
    const std::size_t count = starts_.size();
    const Time start = starts_[picture];
    const Time next = picture + 1 < count ? starts_[picture + 1] : end_;
    const Time previous = picture > 0 ? starts_[picture - 1] : start - (next - start);
    return next - previous;
  }

  std::size_t capacity(std::size_t picture, std::size_t field) const {
    constexpr Time kPairTwice = kPairTime * 2;
    if (isClosed(picture)) return 0;
    const Time cell = doubleCell(picture);
    if (cell <= kPairTwice * 11 / 10) return 1;
    const Time::rep whole = (cell + kPairTwice - Time{1}) / kPairTwice;
    return std::min(static_cast<std::size_t>(whole), kMostPairs[field]);
  }

  void prepare(FieldPairs& field) const {
    if (starts_.empty()) return;
    dropPadding(field);
    for (TimedPair& pair : field) {
      pair.time = std::clamp(pair.time, starts_.front() - kMargin, end_ + kMargin);
    }
    captions::dropBeforeStart(field, starts_.front());
    moveLoadsEarlier(field);
    moveTheRestLater(field, starts_.front());
  }

  void place(const FieldPairs& field, std::size_t index) {
    Nearest nearest(starts_);
    std::vector<Placed>& placed = placed_[index];
    placed.reserve(field.size());
    std::size_t picture = 0;
    std::size_t inPicture = 0;
    std::size_t room = starts_.empty() ? 0 : capacity(0, index);
    for (std::size_t i = 0; i < field.size(); ++i) {
      const std::size_t wanted = starts_.empty() || field[i].time > end_ + kPairTime
                                     ? starts_.size()
                                     : nearest.at(field[i].time);
      while (picture < starts_.size() && (picture < wanted || inPicture >= room)) {
        ++picture;
        inPicture = 0;
        room = picture < starts_.size() ? capacity(picture, index) : 0;
      }
      if (picture == starts_.size()) {
        plan_.fields_[index].lost = field.size() - i;
        break;
      }
      const bool repeats = i > 0 && areEqualControls(field[i - 1].bytes, field[i].bytes) &&
                           field[i].time - field[i - 1].time < kPairTime * 2;
      placed.push_back({static_cast<std::uint32_t>(picture), field[i].bytes, repeats});
      ++inPicture;
    }
    plan_.fields_[index].placed = placed.size();
  }

  // Appends to both fields what each picture gets.
  void merge() {
    std::array<std::size_t, kFields> next{};
    Time slot = starts_.empty() ? Time{0} : starts_.front();
    plan_.pictureCount_ = starts_.size();
    for (std::size_t i = 0; i < kFields; ++i) {
      if (!placed_[i].empty()) plan_.fields_[i].ends.reserve(starts_.size());
    }
    for (std::size_t picture = 0; picture < starts_.size(); ++picture) {
      const std::size_t slots = slotsUpTo(firstTimeAfter(picture), slot);
      bool isEmpty = true;
      for (std::size_t i = 0; i < kFields; ++i) {
        isEmpty = take(picture, i, next[i]) && isEmpty;
      }
      for (std::size_t i = 0; i < kFields; ++i) {
        if (placed_[i].empty()) continue;
        if (isEmpty && options_.pad) pad(picture, i, next[i], slots);
        plan_.fields_[i].ends.push_back(static_cast<std::uint32_t>(plan_.fields_[i].pairs.size()));
      }
    }
  }

  // The first time for which a later picture is nearest.
  Time firstTimeAfter(std::size_t picture) const {
    if (picture + 1 == starts_.size()) return end_;
    const Time length = starts_[picture + 1] - starts_[picture];
    return starts_[picture] + (length - kLaterPreference + Time{1}) / 2;
  }

  // How many consecutive pairs, the first at the slot, come before a time. Advances the slot past
  // them.
  static std::size_t slotsUpTo(Time time, Time& slot) {
    if (time <= slot) return 0;
    const Time::rep count = (time - slot + kPairTime - Time{1}) / kPairTime;
    slot += kPairTime * count;
    return static_cast<std::size_t>(count);
  }

  // Appends the pairs of a picture; returns whether there are none.
  bool take(std::size_t picture, std::size_t field, std::size_t& next) {
    const std::vector<Placed>& placed = placed_[field];
    const std::size_t first = next;
    for (; next < placed.size() && placed[next].picture == picture; ++next) {
      plan_.fields_[field].pairs.push_back(placed[next].bytes);
    }
    return next == first;
  }

  void pad(std::size_t picture, std::size_t field, std::size_t next, std::size_t slots) {
    const std::vector<Placed>& placed = placed_[field];
    if (next < placed.size() && placed[next].noPaddingBefore) return;
    const std::size_t count = std::min(slots, capacity(picture, field));
    plan_.fields_[field].pairs.insert(plan_.fields_[field].pairs.end(), count, kPadding);
  }

  std::span<const Time> starts_;
  Time end_;
  const std::vector<bool>& closed_;
  PlanOptions options_;
  std::array<std::vector<Placed>, kFields> placed_;
  CaptionPlan plan_;
};

CaptionPlan planCaptions(const Screening& screening, std::array<FieldPairs, kFields> fields,
                         PlanOptions options) {
  return Planner(screening, options).plan(std::move(fields));
}

}  // namespace quarrypack::embed
