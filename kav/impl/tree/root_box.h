#pragma once

#include <cstddef>

#include "kav/impl/model/box.h"
#include "kav/impl/model/box_factory.h"
#include "kav/impl/model/box_headers.h"
#include "kav/impl/model/box_iterators.h"
#include "kav/impl/tree/fragment_directory.h"

namespace norvik::kav::impl {

class MoovBox;
class XMPDataBox;

// The file itself: a box whose children are the top-level boxes.
//
// While a file is read, children appear on demand: getChild and readNextBox read and parse further
// top-level boxes, each completely, and nothing is read early. The one exception is a moof box
// before the moov box, which is useless without it. The moov box is then fetched early and joins
// the children when it is reached.
class RootBox final : public Box {
 public:
  // A document over a stream, which must be open and outlive the root, as must the factory and the
  // allocator.
  explicit RootBox(NorvikKavStream& stream, BoxFactory* factory = nullptr,
                   BoxAllocator* allocator = nullptr);

  Box* getChild(std::size_t index) override;
  void addChild(BoxPtr child) override;

  // Reads, parses and adds the next top-level box; null at the end of the file. The length of the
  // file is measured again each time, so a file that has grown gives more boxes. Throws noMovie,
  // childRuleBroken, truncatedBox, secondMovie, and the exceptions of the boxes' content.
  Box* readNextBox();

  // Reads top-level boxes up to the moov box; null if the file ends without one.
  MoovBox* readMovie();

  // Finds the last fragment, of those in the file so far, whose part for a track holds a decoding
  // time, in units of the track; reads on while there is none. The result refers to the fragment,
  // or has the index -1.
  BoxIteratorByType findFragment(std::uint32_t trackId, std::uint64_t time);

  // The fragment with samples of a track at an index among those of the track; reads on as far as
  // needed. Null if the file ends first.
  const FragmentDirectory::Place* fragmentOf(std::uint32_t trackId, std::size_t index);

  // The number of fragments read so far.
  std::size_t fragmentCount() const { return directory_.count(); }

  // The last XMP box found so far, or null; reads nothing.
  XMPDataBox* metadata() const { return metadata_; }

  // Reads top-level boxes up to an XMP box; null if the file ends without one.
  XMPDataBox* readMetadata();

  // The moov box, once it was reached or fetched early.
  MoovBox* movie() const { return movie_; }

  // The number of top-level boxes read so far.
  std::size_t loadedCount() const { return children().size(); }

 private:
  void seekToEnd(std::uint64_t end);
  void fetchMovie(const Box& fragment);
  ReadContext readContext() { return {stream(), factory_, childAllocator_}; }

  BoxFactory& factory_;
  BoxAllocator* childAllocator_;
  MoovBox* movie_ = nullptr;
  XMPDataBox* metadata_ = nullptr;
  BoxPtr waitingMovie_;  // fetched early, not yet reached

  FragmentDirectory directory_;  // of the children that are fragments
};

}  // namespace norvik::kav::impl
