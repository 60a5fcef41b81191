#include "sources/showings.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "sources/caption_pairs.h"

namespace quarrypack::sources {
namespace {

using captions::Time;
using embed::EditList;
using embed::MediaSpan;
using embed::Showing;

using Edit = EditList::Edit;
using Spans = std::span<const MediaSpan>;

constexpr Time kFirst{std::numeric_limits<std::int64_t>::min()};
constexpr Time kNever{std::numeric_limits<std::int64_t>::max()};

void add(std::vector<Showing>& showings, Showing showing) {
  if (showings.size() == kMostPairs)
    throw SourceError("its edits repeat too much for a real movie");
  showings.push_back(showing);
}

std::size_t firstStartingFrom(Spans spans, Time time) {
  return static_cast<std::size_t>(
      std::partition_point(spans.begin(), spans.end(),
                           [time](const MediaSpan& span) { return span.start < time; }) -
      spans.begin());
}

// A stable sort takes memory, which most lists do not need.
void sort(std::vector<Showing>& showings) {
  const auto isEarlier = [](const Showing& a, const Showing& b) { return a.start < b.start; };
  if (std::is_sorted(showings.begin(), showings.end(), isEarlier)) return;
  std::stable_sort(showings.begin(), showings.end(), isEarlier);
}

bool shows(const Edit& edit) { return edit.media.has_value(); }

Time endOf(const Edit& edit) { return edit.isOpen() ? kNever : *edit.media + edit.length; }

// The first picture that is on the screen at a time, or appears later.
std::size_t firstShownFrom(Spans pictures, Time time) {
  const std::size_t next = firstStartingFrom(pictures, time);
  return next > 0 && pictures[next - 1].end > time ? next - 1 : next;
}

}  // namespace

embed::Showings showPictures(const EditList& edits, Spans pictures) {
  embed::Showings result;
  result.pictures.reserve(pictures.size());
  for (const Edit& edit : edits.edits()) {
    if (!shows(edit)) continue;
    const Time begin = *edit.media;
    const Time end = edit.isStill ? begin + Time{1} : endOf(edit);
    for (std::size_t i = firstShownFrom(pictures, begin);
         i < pictures.size() && pictures[i].start < end; ++i) {
      const Time into = std::max(pictures[i].start - begin, Time{0});
      add(result.pictures, {pictures[i].sample, edit.start + into});
      const Time shown =
          edit.isStill && !edit.isOpen() ? edit.length : std::min(pictures[i].end, end) - begin;
      result.end = std::max(result.end, edit.start + shown);
    }
  }
  sort(result.pictures);
  return result;
}

std::vector<Showing> showCaptions(const EditList& edits, Spans samples) {
  const std::vector<Edit>& all = edits.edits();
  const auto first = std::find_if(all.begin(), all.end(), shows);
  const auto last = std::find_if(all.rbegin(), all.rend(), shows);
  std::vector<Showing> result;
  for (const Edit& edit : all) {
    if (!shows(edit)) continue;
    const Time begin = &edit == &*first ? kFirst : *edit.media;
    const Time end = &edit == &*last ? kNever : endOf(edit);
    for (std::size_t i = firstStartingFrom(samples, begin);
         i < samples.size() && samples[i].start < end; ++i) {
      add(result, {samples[i].sample, edit.start + (samples[i].start - *edit.media)});
    }
  }
  sort(result);
  return result;
}

}  // namespace quarrypack::sources
