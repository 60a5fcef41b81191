#include "embed/box_comparison.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "embed/box_pieces.h"
#include "embed/film_captions.h"
#include "embed/film_duration.h"
#include "embed/fragment_editor.h"
#include "embed/kept_fields.h"
#include "embed/movie_box_editor.h"
#include "embed/portable_boxes.h"
#include "embed/verification_error.h"
#include "embed/wide_field.h"
#include "kav/four_cc.h"

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::FourCc;
using norvik::kav::fourCc;
using norvik::kav::textOf;

namespace {

using Bytes = std::span<const std::uint8_t>;

// The boxes in a container that captions may change. Anywhere else a box of these types is bytes
// like any other.
struct Container {
  FourCc type;
  std::array<FourCc, 8> changing;
};
constexpr FourCc kFile = 0;
constexpr std::array kContainers = {
    Container{kFile, {fourCc("moov"), fourCc("moof"), fourCc("meta"), fourCc("sidx")}},
    Container{fourCc("moov"),
              {fourCc("mvhd"), fourCc("trak"), fourCc("mvex"), fourCc("udta"), fourCc("meta")}},
    Container{fourCc("mvex"), {fourCc("trex"), fourCc("trep"), fourCc("mehd")}},
    Container{fourCc("trak"), {fourCc("tref"), fourCc("mdia"), fourCc("udta"), fourCc("meta")}},
    Container{fourCc("mdia"), {fourCc("hdlr"), fourCc("minf")}},
    Container{fourCc("minf"), {fourCc("hdlr"), fourCc("dinf"), fourCc("stbl")}},
    Container{fourCc("stbl"),
              {fourCc("stsd"), fourCc("ctts"), fourCc("stsz"), fourCc("stz2"), fourCc("stco"),
               fourCc("co64"), fourCc("saio"), fourCc("subs")}},
    Container{fourCc("moof"), {fourCc("traf")}},
    Container{fourCc("traf"), {fourCc("tfhd"), fourCc("trun"), fourCc("saio"), fourCc("subs")}}};

bool mayChange(const BoxView& box, FourCc parent) {
  const auto container =
      std::find_if(kContainers.begin(), kContainers.end(),
                   [parent](const Container& candidate) { return candidate.type == parent; });
  if (container == kContainers.end()) return false;
  const auto& changing = container->changing;
  return std::find(changing.begin(), changing.end(), box.type()) != changing.end();
}

class BoxComparison {
 public:
  BoxComparison(Film& input, const MovieBox& inputBox, Film& output, const MovieBox& outputBox)
      : input_(input),
        inputBox_(inputBox),
        output_(output),
        outputBox_(outputBox),
        removed_(captionTrackIds(input)) {}

  void run() {
    compareFront();
    compare(inputBox_.box(), outputBox_.box(), kFile, "");
    auto copy = output_.boxes().begin() + 2;
    for (const TopLevelBox& box : input_.boxes()) {
      if (!staysInFile(box)) continue;
      if (copy == output_.boxes().end()) fail(textOf(box.type), "is missing");
      compareTopLevel(box, *copy++);
    }
    if (copy != output_.boxes().end()) fail(textOf(copy->type), "is not of the input");
  }

 private:
  [[noreturn]] void fail(const std::string& path, const char* what) const {
    throw VerificationError(label_.empty() ? "the movie" : label_,
                            "the box '" + path + "' " + what);
  }

  void require(bool isSo, const std::string& path) const {
    if (!isSo) fail(path, "is not that of the input");
  }

  // ---- ftyp and the order of the first boxes

  std::vector<std::uint8_t> read(Film& film, const TopLevelBox& box) const {
    constexpr std::uint64_t kLargest = std::uint64_t{1} << 30;
    return film.movie().readBox({box.type, box.start, box.size}, kLargest);
  }

  static const TopLevelBox* first(const Film& film, FourCc type) {
    const auto box =
        std::find_if(film.boxes().begin(), film.boxes().end(),
                     [type](const TopLevelBox& candidate) { return candidate.type == type; });
    return box == film.boxes().end() ? nullptr : &*box;
  }

  bool hasNegativeOffsets() const {
    return std::any_of(input_.tracks().begin(), input_.tracks().end(), [&](const FilmTrack& track) {
      const auto stbl = inputBox_.of(track).find("mdia/minf/stbl");
      return !track.isCaptions() && stbl && tableHasNegativeOffsets(*stbl);
    });
  }

  void compareFront() {
    const std::vector<TopLevelBox>& boxes = output_.boxes();
    if (boxes.size() < 2 || boxes[0].type != fourCc("ftyp") || boxes[1].type != fourCc("moov")) {
      fail("moov", "does not come directly after ftyp");
    }
    const TopLevelBox* const ftyp = first(input_, fourCc("ftyp"));
    const auto old = ftyp == nullptr ? std::vector<std::uint8_t>() : read(input_, *ftyp);
    const Brands brands{.negativeOffsets = hasNegativeOffsets(),
                        .fragments = inputBox_.box().find("mvex").has_value()};
    require(portableFileType(old, brands) == read(output_, boxes[0]), "ftyp");
  }

  // ---- moov

  bool isRemoved(std::uint32_t id) const {
    return std::find(removed_.begin(), removed_.end(), id) != removed_.end();
  }

  bool stays(const BoxView& box, FourCc parent) const {
    constexpr std::size_t kTrack = 4;
    if (!mayChange(box, parent)) return true;
    switch (box.type()) {
      case fourCc("trak"):
        return !isRemoved(trackIdOf(box).value_or(0));
      case fourCc("trex"):
      case fourCc("trep"):
        return !isRemoved(u32At(box, kTrack));
      case fourCc("tref"): {
        BoxPieces pieces;
        appendReferences(box, removed_, pieces);
        return pieces.size() > 0;
      }
      case fourCc("traf"): {
        const auto tfhd = box.find("tfhd");
        return !tfhd || !isRemoved(u32At(*tfhd, kTrack));
      }
      default:
        return true;
    }
  }

  void compareChildren(const BoxView& old, const BoxView& copy, const std::string& path) {
    Boxes olds(old.payload());
    Boxes copies(copy.payload());
    while (const auto child = olds.next()) {
      if (!stays(*child, old.type())) continue;
      const std::string childPath =
          path.empty() ? textOf(child->type()) : path + '/' + textOf(child->type());
      const auto other = copies.next();
      if (!other) fail(childPath, "is missing");
      compare(*child, *other, old.type(), childPath);
    }
    if (const auto more = copies.next()) fail(textOf(more->type()), "is not of the input");
    require(areEqual(olds.rest(), copies.rest()), path);
  }

  using Append = void (*)(const BoxView&, BoxPieces&);

  void requirePortable(Append append, const BoxView& old, const BoxView& copy,
                       const std::string& path) const {
    BoxPieces pieces;
    append(old, pieces);
    require(pieces.areEqual(copy.bytes()), path);
  }

  void compare(const BoxView& old, const BoxView& copy, FourCc parent, const std::string& path) {
    if (!mayChange(old, parent)) return require(areEqual(old.bytes(), copy.bytes()), path);
    switch (old.type()) {
      case fourCc("trak"):
        enter(old);
        compareContainer(old, copy, "");
        label_.clear();
        return;
      case fourCc("traf"):
        enterFragment(old);
        return compareContainer(old, copy, path);
      case fourCc("moov"):
      case fourCc("mdia"):
      case fourCc("minf"):
      case fourCc("stbl"):
      case fourCc("mvex"):
      case fourCc("moof"):
        return compareContainer(old, copy, path);
      case fourCc("mvhd"):
        return compareDuration(old, copy, kMovieDuration, path);
      case fourCc("mehd"):
        return compareDuration(old, copy, kFragmentDuration, path);
      case fourCc("tref"):
        return compareReferences(old, copy, path);
      case fourCc("hdlr"):
        return requirePortable(appendPortableHandler, old, copy, path);
      case fourCc("dinf"):
        return requirePortable(appendPortableDataInformation, old, copy, path);
      case fourCc("udta"):
        return compareUserData(old, copy, path);
      case fourCc("meta"):
        return compareMetadata(old, copy, path);
      case fourCc("ctts"):
        return requirePortable(appendPortableCompositionOffsets, old, copy, path);
      case fourCc("stsd"):
        if (isSound_) return requirePortable(appendPortableSoundDescriptions, old, copy, path);
        break;
      case fourCc("stsz"):
      case fourCc("stz2"):
        if (isPictures_) return compareSizes(old, copy, path);
        break;
      case fourCc("stco"):
      case fourCc("co64"):
        return compareOffsets(old, copy, path);
      case fourCc("tfhd"):
        return require(withoutBase(old) == withoutBase(copy), path);
      case fourCc("trun"):
        return require(withoutPlaces(old, isPictures_) == withoutPlaces(copy, isPictures_), path);
      case fourCc("sidx"):
        return require(withoutOffsets(old) == withoutOffsets(copy), path);
      case fourCc("saio"):
        return require(old.type() == copy.type(), path);
      case fourCc("subs"):
        if (isPictures_) return require(old.type() == copy.type(), path);
        break;
      default:
        break;
    }
    require(areEqual(old.bytes(), copy.bytes()), path);
  }

  void compareMetadata(const BoxView& old, const BoxView& copy, const std::string& path) const {
    BoxPieces pieces;
    appendPortableMetadata(old, pieces);
    const auto expected = pieces.joined();
    require(old.type() == copy.type() && areEqualMetadata(*BoxView::at(expected), copy), path);
  }

  void compareUserData(const BoxView& old, const BoxView& copy, const std::string& path) const {
    BoxPieces pieces;
    appendPortableUserData(old, pieces);
    const auto expected = pieces.joined();
    require(old.type() == copy.type() && areEqualUserData(*BoxView::at(expected), copy), path);
  }

  void enter(const BoxView& trak) {
    const std::uint32_t id = trackIdOf(trak).value_or(0);
    label_ = "track " + std::to_string(id);
    isPictures_ = id == input_.pictureTrack().id();
    isSound_ = handlerTypeOf(trak) == fourCc("soun");
  }

  void enterFragment(const BoxView& traf) {
    const auto tfhd = traf.find("tfhd");
    isPictures_ = tfhd && u32At(*tfhd, 4) == input_.pictureTrack().id();
  }

  void compareContainer(const BoxView& old, const BoxView& copy, const std::string& path) {
    require(old.type() == copy.type(), path);
    compareChildren(old, copy, path);
  }

  void compareReferences(const BoxView& old, const BoxView& copy, const std::string& path) const {
    BoxPieces pieces;
    appendReferences(old, removed_, pieces);
    require(pieces.areEqual(copy.bytes()), path);
  }

  // ---- durations

  std::uint64_t longest() {
    // Counts from where the input begins: its captions, which the output lacks, may come first.
    if (input_.movie().info().isFragmented) return longestTrack(input_);
    std::uint64_t longest = 0;
    for (const FilmTrack& track : output_.tracks()) {
      const auto tkhd = outputBox_.of(track).find("tkhd");
      const auto duration = tkhd ? readField(*tkhd, kTrackDuration) : std::nullopt;
      if (duration) longest = std::max(longest, duration->value);
    }
    return longest;
  }

  void compareDuration(const BoxView& old, const BoxView& copy, WideField field,
                       const std::string& path) {
    if (areEqual(old.bytes(), copy.bytes())) return;
    const auto before = readField(old, field);
    const auto after = readField(copy, field);
    require(before && after && !removed_.empty() && before->width == after->width &&
                after->value < before->value && after->value == longest(),
            path);
    const auto rest = [](const BoxView& box, const FieldValue& value) {
      return std::pair(box.payload().first(value.position),
                       box.payload().subspan(value.position + value.width));
    };
    const auto [oldFront, oldEnd] = rest(old, *before);
    const auto [newFront, newEnd] = rest(copy, *after);
    require(old.type() == copy.type() && areEqual(oldFront, newFront) && areEqual(oldEnd, newEnd),
            path);
  }

  // ---- tables

  // All fields but the entries, which the samples prove.
  void compareSizes(const BoxView& old, const BoxView& copy, const std::string& path) const {
    constexpr std::size_t kCount = 8;
    constexpr std::size_t kEntries = 12;
    if (areEqual(old.bytes(), copy.bytes())) return;
    const std::uint64_t count = u32At(copy, kCount);
    require(copy.type() == fourCc("stsz") && u32At(copy, 0) == 0 && u32At(copy, 4) == 0 &&
                count == u32At(old, kCount) && copy.payload().size() == kEntries + count * 4,
            path);
  }

  void compareOffsets(const BoxView& old, const BoxView& copy, const std::string& path) const {
    constexpr std::size_t kEntries = 8;
    const std::uint64_t width = copy.type() == fourCc("co64") ? 8 : 4;
    const std::uint64_t count = u32At(copy, 4);
    require((width == 8 || copy.type() == fourCc("stco")) && u32At(copy, 0) == 0 &&
                count == u32At(old, 4) && copy.payload().size() == kEntries + count * width,
            path);
  }

  // ---- the rest of the file

  // Whether a box with all that is in it is in the output too.
  bool staysInFile(const TopLevelBox& box) {
    switch (box.type) {
      case fourCc("ftyp"):
      case fourCc("moov"):
      case fourCc("ssix"):
        return false;
      case fourCc("moof"):
        return fragmentStays(read(input_, box));
      case fourCc("sidx"): {
        const auto bytes = read(input_, box);
        const auto sidx = BoxView::at(bytes);
        return !sidx || !isRemoved(u32At(*sidx, 4));
      }
      case fourCc("mfra"):
        return first(output_, fourCc("mfra")) != nullptr || !losesFragments();
      default:
        return true;
    }
  }

  bool fragmentStays(const std::vector<std::uint8_t>& bytes) const {
    const auto moof = BoxView::at(bytes);
    if (!moof) return true;
    std::size_t kept = 0;
    std::size_t lost = 0;
    Boxes children(moof->payload());
    while (const auto child = children.next()) {
      if (child->type() == fourCc("traf")) ++(stays(*child, moof->type()) ? kept : lost);
    }
    return kept > 0 || lost == 0;
  }

  bool losesFragments() {
    const FragmentEditor editor({.removedTracks = removed_});
    return std::any_of(input_.boxes().begin(), input_.boxes().end(), [&](const TopLevelBox& box) {
      if (box.type != fourCc("moof")) return false;
      const auto bytes = read(input_, box);
      const auto moof = BoxView::at(bytes);
      return moof && editor.losesTracks(*moof);
    });
  }

  void compareTopLevel(const TopLevelBox& box, const TopLevelBox& copy) {
    const std::string path = textOf(box.type);
    require(box.type == copy.type, path);
    switch (box.type) {
      case fourCc("mdat"):
      case fourCc("mfra"):
        return;
      case fourCc("moof"):
      case fourCc("meta"):
      case fourCc("sidx"): {
        const auto old = read(input_, box);
        const auto written = read(output_, copy);
        const auto oldView = BoxView::at(old);
        const auto newView = BoxView::at(written);
        require(oldView && newView, path);
        return compare(*oldView, *newView, kFile, path);
      }
      default:
        return compareBytes(box, copy, path);
    }
  }

  // All after the size, which may have been that of a box without one.
  void compareBytes(const TopLevelBox& box, const TopLevelBox& copy, const std::string& path) {
    constexpr std::uint64_t kPiece = std::uint64_t{64} << 10;
    constexpr std::uint64_t kSizeField = 4;
    require(box.size == copy.size, path);
    std::vector<std::uint8_t> old(kPiece);
    std::vector<std::uint8_t> written(kPiece);
    for (std::uint64_t done = kSizeField; done < box.size; done += kPiece) {
      const auto count = static_cast<std::size_t>(std::min(kPiece, box.size - done));
      input_.movie().readAt(box.start + done, std::span(old).first(count));
      output_.movie().readAt(copy.start + done, std::span(written).first(count));
      require(areEqual(std::span(old).first(count), std::span(written).first(count)), path);
    }
  }

  Film& input_;
  const MovieBox& inputBox_;
  Film& output_;
  const MovieBox& outputBox_;
  std::vector<std::uint32_t> removed_;  // ids of the caption tracks

  // Of the track or fragment at hand.
  std::string label_;
  bool isPictures_ = false;
  bool isSound_ = false;
};

}  // namespace

void compareBoxes(Film& input, const MovieBox& inputBox, Film& output, const MovieBox& outputBox) {
  BoxComparison(input, inputBox, output, outputBox).run();
}

}  // namespace quarrypack::embed
