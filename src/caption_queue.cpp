#include "src/caption_queue.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "src/presentation_time.h"

namespace quarrypack {
namespace {

constexpr auto kEarliestOnTop = [](const auto& a, const auto& b) { return a.time > b.time; };

}  // namespace

void CaptionQueue::push(std::unique_ptr<CaptionSample> caption) {
  std::vector<Waiting>& heap = waiting_[caption->timescale];
  const std::uint64_t time =
      presentationTime(caption->decodingTime, caption->compositionOffset, caption->timescale);
  heap.push_back({time, pushed_++, std::move(caption)});
  std::push_heap(heap.begin(), heap.end(), kEarliestOnTop);
}

std::size_t CaptionQueue::attachDue(SortedGroup& group, ConversionListener& listener) {
  std::vector<Waiting> due;
  for (auto& [timescale, heap] : waiting_) {
    while (!heap.empty() && group.reaches(heap.front().time, timescale)) {
      std::pop_heap(heap.begin(), heap.end(), kEarliestOnTop);
      due.push_back(std::move(heap.back()));
      heap.pop_back();
    }
  }
  std::sort(due.begin(), due.end(),
            [](const Waiting& a, const Waiting& b) { return a.sequence < b.sequence; });
  for (Waiting& waiting : due) attachCaptionSample(group, waiting.caption, listener);
  return due.size();
}

void CaptionQueue::drop(ConversionListener& listener) {
  for (auto& [timescale, heap] : waiting_) {
    std::sort(heap.begin(), heap.end(), [](const Waiting& a, const Waiting& b) {
      return std::tie(a.time, a.sequence) < std::tie(b.time, b.sequence);
    });
    for (const Waiting& waiting : heap) listener.captionDropped(*waiting.caption);
  }
  waiting_.clear();
}

}  // namespace quarrypack
