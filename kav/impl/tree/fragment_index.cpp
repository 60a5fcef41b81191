#include "kav/impl/tree/fragment_index.h"

#include <algorithm>
#include <limits>

#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/tree/fragment_layout.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kLatestTime = std::numeric_limits<std::uint64_t>::max();

}  // namespace

// The samples of the movie's own tables come before those of the fragments.
void FragmentIndex::beginTracks(const MoovBox& movie) {
  if (isBegun_) return;
  isBegun_ = true;
  for (const TrakBox* trak : movie.tracks()) {
    if (trak->tkhd() == nullptr) continue;
    const auto [track, isFirst] = tracks_.try_emplace(trak->tkhd()->record().trackId);
    const StblBox* stbl = trak->findStbl();
    if (isFirst && stbl != nullptr && stbl->stts() != nullptr) {
      track->second.nextTime = stbl->stts()->endTime();
    }
  }
}

void FragmentIndex::add(MoofBox& fragment, std::size_t place, const MoovBox& movie) {
  if (movie.mvex() == nullptr) return;
  resolveFragment(fragment, *movie.mvex());
  beginTracks(movie);
  for (TrafBox* part : fragment.parts()) {
    const std::uint32_t trackId = part->trackId();
    Track& track = tracks_[trackId];
    const std::uint64_t start = part->decodeTime().value_or(track.nextTime);
    const std::uint64_t end = start + std::min(part->totalDuration(), kLatestTime - start);
    part->setStartTime(start);
    if (!track.entries.empty()) {
      const Entry& last = track.entries.back();
      track.isRising = track.isRising && start >= last.part->startTime() && end >= last.end;
    }
    track.entries.push_back({part, end, static_cast<std::int32_t>(place)});
    track.nextTime = end;
  }
}

std::int32_t FragmentIndex::find(std::uint32_t trackId, std::uint64_t time) const {
  const auto track = tracks_.find(trackId);
  if (track == tracks_.end()) return -1;
  const std::vector<Entry>& entries = track->second.entries;
  auto end = entries.end();
  if (track->second.isRising) {
    // Of the parts that begin in time the last one also ends last: it covers the time, or none
    // does.
    end = std::ranges::upper_bound(entries, time, {},
                                   [](const Entry& entry) { return entry.part->startTime(); });
    if (end == entries.begin()) return -1;
    return end[-1].part->coversTime(time) ? end[-1].place : -1;
  }
  while (end != entries.begin()) {
    if ((--end)->part->coversTime(time)) return end->place;
  }
  return -1;
}

}  // namespace norvik::kav::impl
