#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "embed/fragment_editor.h"
#include "embed/media_copy.h"
#include "embed/movie_box_editor.h"
#include "embed/offset_map.h"
#include "kav/four_cc.h"

namespace quarrypack::embed {

// A top-level box of the input.
struct TopLevelBox {
  norvik::kav::FourCc type = 0;
  std::uint64_t start = 0;         // of the header
  std::uint64_t size = 0;          // bytes, with the header, ends with the file at the latest
  std::uint32_t headerLength = 8;  // bytes

  std::uint64_t end() const { return start + size; }
};

// Copies bytes of the input to a buffer; throws where it does not hold them.
using ReadInput = std::function<void(std::uint64_t offset, std::span<std::uint8_t> bytes)>;

// The source of the bytes that the splices of the samples insert. Called in ascending order of
// their offsets.
class MediaContent {
 public:
  virtual ~MediaContent() = default;

  // Appends what the splice at an offset inserts.
  virtual void append(const Splice& splice, OutputBuffer& output) = 0;
};

// The output as splices of the input: first ftyp and moov, then all other top-level boxes in the
// order of the input. A box whose content changes its length gets a new header. The boxes of
// fragments and their indexes are rewritten.
class OutputLayout final : public SpliceContent {
 public:
  struct Changes {
    std::vector<Splice> media;  // of the samples, at ascending offsets
    MovieBoxChanges movie;
    std::vector<FragmentChanges::Defaults> fragmentDefaults;  // see FragmentEditor
  };

  // moov is the whole box in memory. It, read and content must outlive the layout. Throws Refusal
  // if a splice of samples lies outside the content of an mdat or overlaps another one, and what
  // the editors throw.
  OutputLayout(std::vector<TopLevelBox> boxes, const norvik::kav::BoxView& moov, ReadInput read,
               Changes changes, MediaContent& content);

  const OffsetMap& map() const { return map_; }

  void append(std::size_t splice, OutputBuffer& output) override;

 private:
  enum class Kind { front, removed, header, fragment, segmentIndex, randomAccess, metadata };

  struct BoxSplice {
    Splice splice;
    Kind kind;
    std::size_t box;
    // The length of an old header that is replaced. The first box of a film without ftyp has one
    // although its splice also inserts the new ftyp and moov.
    std::uint32_t headerLength = 0;
  };

  void addBox(std::size_t index, std::span<const Splice> inside);
  void addHeader(std::size_t index, std::span<const Splice> inside);
  void addRewritten(std::size_t index, Kind kind);
  BoxPieces rewritten(const BoxSplice& box, const OffsetMap& map);
  void addFront();
  void mergeSplices(std::vector<Splice> media);
  void settle();
  void appendFront(OutputBuffer& output) const;
  void appendHeader(const BoxSplice& box, OutputBuffer& output);
  std::vector<std::uint8_t> readBox(const TopLevelBox& box) const;
  void refuseMeeting(const Splice& splice) const;

  std::vector<TopLevelBox> boxes_;
  ReadInput read_;
  MediaContent& content_;
  MovieBoxEditor movieEditor_;
  FragmentEditor fragmentEditor_;
  bool losesFragments_ = false;
  std::vector<BoxSplice> boxSplices_;
  std::size_t nextBoxSplice_ = 0;
  std::vector<std::uint8_t> boxBytes_;  // of the box that is rewritten
  std::vector<std::uint8_t> fileType_;
  BoxPieces movie_;
  OffsetMap map_;
};

}  // namespace quarrypack::embed
