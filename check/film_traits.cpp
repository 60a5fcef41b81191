#include "check/film_traits.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "captions/nal_units.h"
#include "check/conversion_rule_table.h"
#include "check/track_names.h"
#include "kav/big_endian.h"
#include "kav/box_view.h"
#include "kav/four_cc.h"
#include "kav/memory_size.h"
#include "sources/child_boxes.h"

namespace quarrypack::check {
namespace {

namespace kav = norvik::kav;
using kav::BoxPlace;
using kav::FourCc;
using kav::fourCc;
using kav::textOf;

using Types = std::span<const FourCc>;

constexpr std::array kPadding{fourCc("free"), fourCc("skip"), fourCc("wide")};

// The boxes that a conversion writes, and those with a finding of their own. The second handler of
// a QuickTime track only states where its media is.
constexpr std::array kOfTrack{fourCc("tkhd"), fourCc("edts"), fourCc("mdia"),
                              fourCc("tref"), fourCc("udta"), fourCc("meta")};
constexpr std::array kOfMedia{fourCc("mdhd"), fourCc("hdlr"), fourCc("minf")};
constexpr std::array kOfMediaInformation{fourCc("vmhd"), fourCc("smhd"), fourCc("hmhd"),
                                         fourCc("nmhd"), fourCc("dinf"), fourCc("stbl"),
                                         fourCc("hdlr")};
constexpr std::array kOfTables{fourCc("stsd"), fourCc("stts"), fourCc("stsc"), fourCc("stsz"),
                               fourCc("stz2"), fourCc("stco"), fourCc("co64"), fourCc("ctts"),
                               fourCc("stss"), fourCc("sdtp")};

bool contains(Types types, FourCc type) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

// A list of texts, each once, joined by commas.
class TextList {
 public:
  void add(const std::string& text) {
    if (std::find(texts_.begin(), texts_.end(), text) == texts_.end()) texts_.push_back(text);
  }
  bool empty() const { return texts_.empty(); }
  std::string joined() const {
    std::string all;
    for (const std::string& text : texts_) all.append(all.empty() ? "" : ", ").append(text);
    return all;
  }

 private:
  std::vector<std::string> texts_;
};

// The fields of tkhd that the library does not provide.
struct TrackHeader {
  std::uint16_t alternateGroup = 0;
  bool isPlacedPlainly = true;  // by its matrix
  std::string turn;             // "90 degrees", if it is only turned
};

using Matrix = std::array<std::uint32_t, 9>;
constexpr std::uint32_t kOne = 0x10000;
constexpr std::uint32_t kMinusOne = 0xFFFF0000;
constexpr std::uint32_t kOneOfW = 0x40000000;

// The translation that goes with a turn depends on the size and is not compared.
std::string turnOf(const Matrix& matrix) {
  const auto [a, b, u, c, d, v, x, y, w] = matrix;
  if (u != 0 || v != 0 || w != kOneOfW) return {};
  if (a == 0 && b == kOne && c == kMinusOne && d == 0) return "90 degrees";
  if (a == kMinusOne && b == 0 && c == 0 && d == kMinusOne) return "180 degrees";
  if (a == 0 && b == kMinusOne && c == kOne && d == 0) return "270 degrees";
  return {};
}

bool isUnity(const Matrix& matrix) {
  return matrix == Matrix{kOne, 0, 0, 0, kOne, 0, 0, 0, kOneOfW};
}

// Goes through the boxes and descriptions of a movie.
class Traits {
 public:
  Traits(sources::FilmFile& film, Findings& findings)
      : film_(film), movie_(film.movie()), findings_(findings) {}

  void note() {
    noteMovie();
    for (const kav::Track& track : movie_.tracks()) {
      if (!isCaptions(track)) noteDescriptions(track);
    }
    notePictures();
  }

 private:
  static bool isCaptions(const kav::Track& track) { return track.handlerType == fourCc("clcp"); }

  void noteMovie() {
    const std::vector<BoxPlace> boxes = movie_.topLevelBoxes();
    TextList metadata;
    for (const BoxPlace& box : boxes) noteMetadata(box, "file", metadata);
    const auto moov = std::find_if(boxes.begin(), boxes.end(),
                                   [](const BoxPlace& box) { return box.type == fourCc("moov"); });
    if (moov == boxes.end()) return;
    std::size_t index = 0;
    for (const BoxPlace& box : sources::childBoxes(movie_, *moov)) {
      noteMetadata(box, "movie", metadata);
      if (box.type != fourCc("trak") || index == movie_.tracks().size()) continue;
      const kav::Track& track = movie_.tracks()[index++];
      if (!isCaptions(track)) noteTrack(box, track, metadata);
    }
    if (!metadata.empty()) findings_.note(kMetadataLost, std::nullopt, metadata.joined());
    for (const auto& [group, names] : groups_) {
      if (names.second > 1) {
        findings_.note(kAlternateGroupLost, std::nullopt, names.first.joined());
      }
    }
    if (movie_.info().isFragmented) findings_.note(kFragmentsLost);
  }

  // An empty box of user data holds at most its closing zeros.
  static void noteMetadata(const BoxPlace& box, const std::string& where, TextList& metadata) {
    constexpr std::uint64_t kLargestEmpty = 12;
    if (box.size <= kLargestEmpty) return;
    if (box.type == fourCc("udta") || box.type == fourCc("meta") || box.type == fourCc("uuid")) {
      metadata.add(where + ": " + textOf(box.type));
    }
  }

  void noteTrack(const BoxPlace& trak, const kav::Track& track, TextList& metadata) {
    constexpr std::uint32_t kEnabled = 1;
    const std::string name = nameOf(track);
    if ((track.info.tkhdFlags & kEnabled) == 0) {
      findings_.note(kDisabledTrackEnabled, std::nullopt, name);
    }
    TextList lost;
    for (const BoxPlace& box : sources::childBoxes(movie_, trak)) {
      noteMetadata(box, name, metadata);
      if (box.type == fourCc("tkhd")) noteHeader(box, name);
      if (box.type == fourCc("edts")) noteEdits(box, name);
      if (box.type == fourCc("tref")) noteReferences(box, track);
      if (box.type == fourCc("mdia")) noteMedia(box, lost);
      noteLost(box, kOfTrack, lost);
    }
    if (!lost.empty()) {
      findings_.note(kBoxesLost, std::nullopt, name + ": " + lost.joined());
    }
  }

  static void noteLost(const BoxPlace& box, Types kept, TextList& lost) {
    if (!contains(kept, box.type) && !contains(kPadding, box.type)) lost.add(textOf(box.type));
  }

  void noteMedia(const BoxPlace& mdia, TextList& lost) {
    for (const BoxPlace& box : sources::childBoxes(movie_, mdia)) {
      noteLost(box, kOfMedia, lost);
      if (box.type != fourCc("minf")) continue;
      for (const BoxPlace& inner : sources::childBoxes(movie_, box)) {
        noteLost(inner, kOfMediaInformation, lost);
        if (inner.type != fourCc("stbl")) continue;
        for (const BoxPlace& table : sources::childBoxes(movie_, inner)) {
          noteLost(table, kOfTables, lost);
        }
      }
    }
  }

  // The first bytes of a small box, at most as many as it has.
  std::vector<std::uint8_t> read(const BoxPlace& box) {
    constexpr std::size_t kMost = 128;
    std::vector<std::uint8_t> bytes(norvik::kav::sizeWithin(box.size, kMost));
    movie_.readAt(box.start, bytes);
    return bytes;
  }

  std::optional<TrackHeader> readHeader(const BoxPlace& tkhd) {
    constexpr std::size_t kHeader = 8;
    constexpr std::size_t kGroupIn0 = 34;
    constexpr std::size_t kGroupIn1 = 46;
    constexpr std::size_t kMatrixAfterGroup = 6;
    const std::vector<std::uint8_t> bytes = read(tkhd);
    if (bytes.size() <= kHeader || kav::loadU32(bytes.data()) < kHeader) return std::nullopt;
    const std::size_t group = kHeader + (bytes[kHeader] == 1 ? kGroupIn1 : kGroupIn0);
    Matrix matrix;
    if (bytes.size() < group + kMatrixAfterGroup + 4 * matrix.size()) return std::nullopt;
    for (std::size_t i = 0; i < matrix.size(); ++i) {
      matrix.at(i) = kav::loadU32(bytes.data() + group + kMatrixAfterGroup + 4 * i);
    }
    return TrackHeader{kav::loadU16(bytes.data() + group), isUnity(matrix), turnOf(matrix)};
  }

  void noteHeader(const BoxPlace& tkhd, const std::string& name) {
    const std::optional<TrackHeader> header = readHeader(tkhd);
    if (!header) return;
    if (!header->isPlacedPlainly) {
      const std::string detail = header->turn.empty() ? name : name + ", " + header->turn;
      findings_.note(kRotationLost, std::nullopt, detail);
    }
    if (header->alternateGroup == 0) return;
    auto& [names, count] = groups_[header->alternateGroup];
    names.add(name);
    ++count;
  }

  void noteEdits(const BoxPlace& edts, const std::string& name) {
    constexpr std::uint64_t kLargest = 1u << 20;
    constexpr std::size_t kFields = 8;  // version, flags, count
    if (edts.size > kLargest) return;
    const std::vector<std::uint8_t> bytes = movie_.readBox(edts, kLargest);
    const auto box = kav::BoxView::at(bytes);
    const auto elst = box ? box->find("elst") : std::nullopt;
    if (!elst || elst->payload().size() < kFields) return;
    const std::size_t length = elst->payload()[0] == 1 ? 20 : 12;
    auto rest = elst->payload().subspan(kFields);
    for (; rest.size() >= length; rest = rest.subspan(length)) {
      const bool isGap = rest[length - 8] == 0xFF;
      if (isGap || kav::loadU32(rest.data() + length - 4) == kOne) continue;
      findings_.note(kEditRateLost, std::nullopt, name);
    }
  }

  // A hint track keeps its references. References to captions are lost with their track.
  void noteReferences(const BoxPlace& tref, const kav::Track& track) {
    if (track.handlerType == fourCc("hint")) return;
    TextList types;
    for (const BoxPlace& box : sources::childBoxes(movie_, tref)) {
      if (box.type != fourCc("clcp")) types.add(textOf(box.type));
    }
    if (types.empty()) return;
    findings_.note(kTrackReferencesLost, std::nullopt, nameOf(track) + ": " + types.joined());
  }

  void noteDescriptions(const kav::Track& track) {
    if (std::any_of(track.descriptions.begin(), track.descriptions.end(),
                    std::mem_fn(&kav::SampleDescription::isEncrypted))) {
      findings_.note(kEncryptedSamples, std::nullopt, nameOf(track));
    }
  }

  // For the track that captions are meant for.
  void notePictures() {
    const std::vector<sources::FilmTrack>& tracks = film_.tracks();
    const auto video = std::find_if(
        tracks.begin(), tracks.end(),
        [](const sources::FilmTrack& track) { return track.handler == fourCc("vide"); });
    if (video == tracks.end()) return;
    const kav::Track& track = movie_.tracks()[video->index];
    std::optional<std::uint8_t> lengthSize;
    for (std::size_t i = 0; i < video->codings.size(); ++i) {
      const auto& coding = video->codings[i];
      if (!coding || coding->rules != &captions::kH264Rules) {
        findings_.note(kVideoIsNotH264, std::nullopt,
                       nameOf(track) + ": '" + textOf(track.descriptions[i].codecType()) + '\'');
      } else if (lengthSize && *lengthSize != coding->nalLengthSize) {
        findings_.note(kSeveralNalLengthSizes, std::nullopt, nameOf(track));
      } else {
        lengthSize = coding->nalLengthSize;
      }
    }
  }

  sources::FilmFile& film_;
  kav::Movie& movie_;
  Findings& findings_;
  std::map<std::uint16_t, std::pair<TextList, std::size_t>> groups_;  // alternate groups
};

}  // namespace

void noteTraits(sources::FilmFile& film, Findings& findings) { Traits(film, findings).note(); }

}  // namespace quarrypack::check
