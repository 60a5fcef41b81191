#include "sources/showings.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "sources/caption_pairs.h"

namespace quarrypack::sources {
namespace {

using captions::Time;
using Edit = EditList::Edit;
using Spans = std::span<const MediaSpan>;

constexpr Time kFirst{std::numeric_limits<std::int64_t>::min()};
constexpr Time kNever{std::numeric_limits<std::int64_t>::max()};

std::size_t firstStartingFrom(Spans spans, Time time) {
  return static_cast<std::size_t>(
      std::partition_point(spans.begin(), spans.end(),
                           [time](const MediaSpan& span) { return span.start < time; }) -
      spans.begin());
}

// A stable sort allocates memory, which most lists do not need.
template <class Timed>
void sort(std::vector<Timed>& list) {
  const auto isEarlier = [](const Timed& a, const Timed& b) { return a.start < b.start; };
  if (std::is_sorted(list.begin(), list.end(), isEarlier)) return;
  std::stable_sort(list.begin(), list.end(), isEarlier);
}

bool shows(const Edit& edit) { return edit.media.has_value(); }

Time endOf(const Edit& edit) { return edit.isOpen() ? kNever : *edit.media + edit.length; }

// The first picture that is on the screen at a time, or appears later.
std::size_t firstShownFrom(Spans pictures, Time time) {
  const std::size_t next = firstStartingFrom(pictures, time);
  return next > 0 && pictures[next - 1].end > time ? next - 1 : next;
}

// Walks over all pictures, as often as edits show them.
class EveryTime {
 public:
  static std::size_t from(std::size_t picture) { return picture; }
  void shown(std::size_t) {
    if (++count_ > kMostPairs) throw SourceError("its edits repeat too much for a real movie");
  }

 private:
  std::size_t count_ = 0;
};

// Walks over the pictures that were not shown yet, and skips the others in one step.
class Once {
 public:
  explicit Once(std::size_t count) : next_(count + 1) {
    for (std::size_t i = 0; i <= count; ++i) next_[i] = static_cast<std::uint32_t>(i);
  }

  std::size_t from(std::size_t picture) {
    while (next_[picture] != picture) {
      next_[picture] = next_[next_[picture]];
      picture = next_[picture];
    }
    return picture;
  }
  void shown(std::size_t picture) { next_[picture] = static_cast<std::uint32_t>(picture + 1); }

 private:
  std::vector<std::uint32_t> next_;
};

template <class Walk>
Showings show(const EditList& edits, Spans pictures, Walk walk) {
  Showings result;
  result.pictures.reserve(pictures.size());
  for (const Edit& edit : edits.edits()) {
    if (!shows(edit)) continue;
    const Time begin = *edit.media;
    const Time end = endOf(edit);
    const Time limit = edit.isStill ? begin + Time{1} : end;
    for (std::size_t i = walk.from(firstShownFrom(pictures, begin));
         i < pictures.size() && pictures[i].start < limit; i = walk.from(i + 1)) {
      walk.shown(i);
      const Time into = std::max(pictures[i].start - begin, Time{0});
      result.pictures.push_back({pictures[i].sample, edit.start + into});
      const bool isHeld = edit.isStill && !edit.isOpen();
      const Time until = isHeld ? end : std::min(pictures[i].end, end);
      result.end = std::max(result.end, edit.start + (until - begin));
    }
  }
  sort(result.pictures);
  return result;
}

// Visits the showings of captions edit by edit.
template <class Visit>
void visitByEdits(const EditList& edits, Spans samples, Visit visit) {
  const std::vector<Edit>& all = edits.edits();
  const auto first = std::find_if(all.begin(), all.end(), shows);
  const auto last = std::find_if(all.rbegin(), all.rend(), shows);
  EveryTime limit;
  for (const Edit& edit : all) {
    if (!shows(edit)) continue;
    const Time begin = &edit == &*first ? kFirst : *edit.media;
    const Time end = &edit == &*last ? kNever : endOf(edit);
    for (std::size_t i = firstStartingFrom(samples, begin);
         i < samples.size() && samples[i].start < end; ++i) {
      limit.shown(i);
      visit(samples[i], edit.start + (samples[i].start - *edit.media));
    }
  }
}

}  // namespace

void sortByStart(std::vector<MediaSpan>& spans) { sort(spans); }

Showings showPictures(const EditList& edits, Spans pictures) {
  return show(edits, pictures, EveryTime());
}

Showings showPicturesOnce(const EditList& edits, Spans pictures) {
  return show(edits, pictures, Once(pictures.size()));
}

void showCaptions(const EditList& edits, Spans samples, const VisitShowing& visit) {
  std::size_t count = 0;
  bool isAscending = true;
  Time last = kFirst;
  visitByEdits(edits, samples, [&](const MediaSpan&, Time start) {
    isAscending = isAscending && start >= last;
    last = start;
    ++count;
  });
  if (isAscending) return visitByEdits(edits, samples, visit);
  std::vector<Showing> showings;
  showings.reserve(count);
  visitByEdits(edits, samples, [&](const MediaSpan& sample, Time start) {
    showings.push_back({static_cast<std::uint32_t>(&sample - samples.data()), start});
  });
  sort(showings);
  for (const Showing& showing : showings) visit(samples[showing.sample], showing.start);
}

}  // namespace quarrypack::sources
