#include "src/caption_queue.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <tuple>

#include "src/presentation_time.h"

namespace quarrypack {
namespace {

constexpr auto kEarliestOnTop = [](const auto& a, const auto& b) { return a.time > b.time; };
constexpr auto kReadEarlier = [](const auto& a, const auto& b) { return a.sequence < b.sequence; };

}  // namespace

void CaptionQueue::push(const CaptionInFile& caption) {
  std::vector<Waiting>& heap = waiting_[caption.timescale];
  heap.push_back(
      {.time = presentationTime(caption.decodingTime, caption.compositionOffset, caption.timescale),
       .sequence = pushed_++,
       .fileOffset = caption.fileOffset,
       .size = caption.size,
       .timescale = caption.timescale});
  std::push_heap(heap.begin(), heap.end(), kEarliestOnTop);
}

void CaptionQueue::takeDue(SortedGroup& group) {
  due_.clear();
  for (auto& [timescale, heap] : waiting_) {
    while (!heap.empty() && group.reaches(heap.front().time, timescale)) {
      std::pop_heap(heap.begin(), heap.end(), kEarliestOnTop);
      due_.push_back(heap.back());
      heap.pop_back();
    }
  }
  if (!std::is_sorted(due_.begin(), due_.end(), kReadEarlier)) {
    std::sort(due_.begin(), due_.end(), kReadEarlier);
  }
  firstPlaces_.clear();
  for (const Waiting& waiting : due_) {
    const auto place = group.firstShownAt(waiting.time, waiting.timescale);
    firstPlaces_.push_back(static_cast<std::uint32_t>(place.value_or(group.length())));
  }
  // From back to front, because captions need not come in the order of their samples.
  std::uint32_t first = std::numeric_limits<std::uint32_t>::max();
  for (auto place = firstPlaces_.rbegin(); place != firstPlaces_.rend(); ++place) {
    *place = first = std::min(first, *place);
  }
}

CaptionSample CaptionQueue::fetch(const Waiting& waiting) {
  bytes_.resize(waiting.size);
  input_.readAt(waiting.fileOffset, bytes_);
  return {.decodingTime = waiting.time, .timescale = waiting.timescale, .bytes = bytes_};
}

std::size_t CaptionQueue::attachDue(SortedGroup& group, ConversionListener& listener,
                                    const SamplesReady& samplesReady) {
  takeDue(group);
  std::size_t ready = 0;
  for (std::size_t i = 0; i < due_.size(); ++i) {
    if (firstPlaces_[i] > ready) samplesReady(ready = firstPlaces_[i]);
    std::optional<CaptionSample> caption = fetch(due_[i]);
    attachCaptionSample(group, caption, listener);
  }
  return due_.size();
}

void CaptionQueue::drop(ConversionListener& listener) {
  for (auto& [timescale, heap] : waiting_) {
    std::sort(heap.begin(), heap.end(), [](const Waiting& a, const Waiting& b) {
      return std::tie(a.time, a.sequence) < std::tie(b.time, b.sequence);
    });
    for (const Waiting& waiting : heap) listener.captionDropped(fetch(waiting));
  }
  waiting_.clear();
}

}  // namespace quarrypack
