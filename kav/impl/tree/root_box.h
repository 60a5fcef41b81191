#pragma once

#include <cstddef>

#include "kav/impl/model/box.h"
#include "kav/impl/model/box_factory.h"
#include "kav/impl/model/box_headers.h"
#include "kav/impl/model/box_iterators.h"
#include "kav/impl/tree/fragment_index.h"
#include "kav/impl/tree/fragment_places.h"

namespace norvik::kav::impl {

class MoovBox;
class XMPDataBox;

// The file itself: a box whose children are the top-level boxes.
//
// While a file is read, children appear on demand: getChild and readNextBox read and parse further
// top-level boxes, each completely, and nothing is read ahead of need. The one exception is a moof
// box in front of the moov box, which makes no sense without it; the moov box is then fetched early
// and joins the children when its turn comes.
class RootBox final : public Box {
 public:
  // A document over a stream, which must be open and outlive the root. The factory, and the
  // allocator if there is one, too.
  explicit RootBox(NorvikKavStream& stream, BoxFactory* factory = nullptr,
                   BoxAllocator* allocator = nullptr);

  Box* getChild(std::size_t index) override;
  void addChild(BoxPtr child) override;

  // Reads, parses and adds the next top-level box; null at the end of the file. The length of the
  // file is measured anew each time, so a file that has grown since gives more boxes. Throws
  // noMovie, childRuleBroken, truncatedBox, secondMovie, and whatever the content of a box is
  // refused for.
  Box* readNextBox();

  // Reads top-level boxes until the moov box is there; null when the file ends without one.
  MoovBox* readMovie();

  // Finds the last fragment, of those in the file so far, whose part for a track holds a decoding
  // time, in units of the track; reads on while there is none. The answer stands at the fragment,
  // or has the index -1.
  BoxIteratorByType findFragment(std::uint32_t trackId, std::uint64_t time);

  // The fragment with samples of a track at a place among those of the track; reads on as far as it
  // is needed. Null when the file ends without it.
  const FragmentPlaces::Place* fragmentOf(std::uint32_t trackId, std::size_t index);

  // The number of fragments read so far.
  std::size_t fragmentCount() const { return places_.count(); }

  // The last XMP box met so far, or null; reads nothing.
  XMPDataBox* metadata() const { return metadata_; }

  // Reads top-level boxes until an XMP box is there; null when the file ends without one.
  XMPDataBox* readMetadata();

  // The moov box, once it was met or fetched early.
  MoovBox* movie() const { return movie_; }

  // The number of top-level boxes read so far.
  std::size_t loadedCount() const { return children().size(); }

 private:
  void seekToEnd(std::uint64_t end);
  void fetchMovie(const Box& fragment);
  ReadContext readContext() { return {stream(), factory_, childAllocator_}; }
  void indexFragments();

  BoxFactory& factory_;
  BoxAllocator* childAllocator_;
  MoovBox* movie_ = nullptr;
  XMPDataBox* metadata_ = nullptr;
  BoxPtr waitingMovie_;  // fetched early, not yet reached

  FragmentPlaces places_;    // of the children that are fragments
  FragmentIndex fragments_;  // of the children in front of nextToIndex_
  std::size_t nextToIndex_ = 0;
};

}  // namespace norvik::kav::impl
