#include "kav/impl/tree/fragment_directory.h"

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

void FragmentDirectory::add(MoofBox& fragment, std::size_t boxIndex) {
  const std::size_t number = count();
  for (const TrafBox* part : fragment.parts()) {
    std::vector<Place>& places = tracks_[part->trackId()].places;
    // Several parts of one track count as one place.
    if (places.empty() || places.back().number != number) places.push_back({&fragment, number});
  }
  fragments_.push_back({&fragment, boxIndex});
}

const FragmentDirectory::Place* FragmentDirectory::find(std::uint32_t trackId,
                                                        std::size_t index) const {
  const auto track = tracks_.find(trackId);
  if (track == tracks_.end() || index >= track->second.places.size()) return nullptr;
  return &track->second.places[index];
}

// The samples of the movie's own tables come before those of the fragments. Of several tracks with
// one number, the first one counts.
void FragmentDirectory::beginTracks(const MoovBox& movie) {
  std::map<std::uint32_t, const TrakBox*> first;
  for (const TrakBox* trak : movie.tracks()) {
    if (trak->tkhd() != nullptr) first.try_emplace(trak->tkhd()->record().trackId, trak);
  }
  for (const auto& [trackId, trak] : first) {
    const StblBox* stbl = trak->findStbl();
    if (stbl == nullptr || stbl->stts() == nullptr) continue;
    tracks_[trackId].nextTime = stbl->stts()->endTime();
  }
}

void FragmentDirectory::addTimes(const Fragment& fragment, const MoovBox& movie) {
  if (movie.mvex() == nullptr) return;
  resolveFragment(*fragment.box, *movie.mvex());
  for (TrafBox* part : fragment.box->parts()) {
    Track& track = tracks_[part->trackId()];
    const std::uint64_t start = part->decodeTime().value_or(track.nextTime);
    const std::uint64_t end = start + std::min(part->totalDuration(), kLatestTime - start);
    part->setStartTime(start);
    if (!track.parts.empty()) {
      const Part& last = track.parts.back();
      track.isRising = track.isRising && start >= last.box->startTime() && end >= last.end;
    }
    track.parts.push_back({part, end, static_cast<std::int32_t>(fragment.boxIndex)});
    track.nextTime = end;
  }
}

std::int32_t FragmentDirectory::findTime(std::uint32_t trackId, std::uint64_t time,
                                         const MoovBox& movie) {
  if (timed_ == 0 && count() > 0) beginTracks(movie);
  while (timed_ < count()) addTimes(fragments_[timed_++], movie);
  const auto track = tracks_.find(trackId);
  if (track == tracks_.end()) return -1;
  const std::vector<Part>& parts = track->second.parts;
  auto end = parts.end();
  if (track->second.isRising) {
    // Of the parts that begin before or at the time, the last one also ends last: it covers the
    // time, or none does.
    end = std::upper_bound(
        parts.begin(), parts.end(), time,
        [](std::uint64_t sought, const Part& part) { return sought < part.box->startTime(); });
    if (end == parts.begin()) return -1;
    return end[-1].box->coversTime(time) ? end[-1].boxIndex : -1;
  }
  while (end != parts.begin()) {
    if ((--end)->box->coversTime(time)) return end->boxIndex;
  }
  return -1;
}

}  // namespace norvik::kav::impl
