#include "captions/caption_opening.h"

#include "captions/visible_codes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>

namespace quarrypack::captions {

namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

// The second bytes of the commands that change a memory.
enum Code : std::uint8_t {
  kResumeLoading = 0x20,
  kRollUp2 = 0x25,
  kRollUp4 = 0x27,
  kResumeDirect = 0x29,
  kTextRestart = 0x2A,
  kResumeText = 0x2B,
  kEraseDisplayed = 0x2C,
  kCarriageReturn = 0x2D,
  kEraseNotDisplayed = 0x2E,
  kEndOfCaption = 0x2F,
};

// For one channel, the places of the first pairs that its two memories depend on; kNone for an
// empty one.
class ChannelMemory {
 public:
  void command(std::uint8_t code, std::size_t place) {
    switch (code) {
      case kResumeLoading:
        return load(place);
      case kResumeDirect:
        return enter(Mode::paintOn, place);
      case kTextRestart:
      case kResumeText:
        return enter(Mode::text, place);
      case kEraseDisplayed:
        return eraseDisplayed();
      case kEraseNotDisplayed:
        loading_ = kNone;
        return;
      case kEndOfCaption:
        // The memories are exchanged, and loading continues.
        std::swap(displayed_, loading_);
        return enter(Mode::popOn, place);
      case kCarriageReturn:
        return carriageReturn(place);
      default:
        if (code >= kRollUp2 && code <= kRollUp4) rollUp(code - kRollUp2 + 2u, place);
    }
  }

  // For characters, and for codes that place or colour them.
  void write() {
    if (mode_ == Mode::popOn) loading_ = std::min(loading_, modePlace_);
    if (mode_ == Mode::paintOn) displayed_ = std::min(displayed_, modePlace_);
    if (mode_ == Mode::rollUp) displayed_ = std::min(displayed_, line_);
  }

  std::size_t firstNeeded() const { return std::min(displayed_, loading_); }

  // The pair without which later characters of this channel would be lost; kNone after the end of a
  // caption, because the next one begins with a code of its own.
  std::size_t modePlace() const {
    const bool isNeeded = mode_ == Mode::rollUp || mode_ == Mode::paintOn || isLoading_;
    return isNeeded ? modePlace_ : kNone;
  }

 private:
  enum class Mode { none, popOn, rollUp, paintOn, text };
  static constexpr std::size_t kMostRows = 4;

  void enter(Mode mode, std::size_t place) {
    mode_ = mode;
    modePlace_ = place;
    isLoading_ = false;
  }

  void load(std::size_t place) {
    enter(Mode::popOn, place);
    isLoading_ = true;
  }

  void eraseDisplayed() {
    displayed_ = kNone;
    // From here on only the current line is needed.
    lines_.fill(kNone);
  }

  // The code is often repeated for each line. Only the first one is needed later.
  void rollUp(std::size_t rows, std::size_t place) {
    if (mode_ != Mode::rollUp) {
      displayed_ = loading_ = kNone;
      lines_.fill(kNone);
      line_ = place;
    } else if (rows == rows_) {
      return;
    }
    rows_ = rows;
    enter(Mode::rollUp, place);
  }

  // The lines move up, and the oldest leaves the screen.
  void carriageReturn(std::size_t place) {
    if (mode_ != Mode::rollUp) return;
    const bool hasText = displayed_ != kNone;
    std::rotate(lines_.begin(), lines_.end() - 1, lines_.end());
    lines_[0] = hasText ? line_ : kNone;
    const auto shown = lines_.begin() + static_cast<std::ptrdiff_t>(rows_ - 1);
    displayed_ = *std::min_element(lines_.begin(), shown);
    line_ = place;
  }

  Mode mode_ = Mode::none;
  std::size_t modePlace_ = kNone;
  bool isLoading_ = false;  // since a code that starts loading
  std::size_t displayed_ = kNone;
  std::size_t loading_ = kNone;
  std::size_t rows_ = 2;
  std::size_t line_ = kNone;  // of the roll-up line that is being written
  // Of the lines above it, the lowest one first.
  std::array<std::size_t, kMostRows> lines_{kNone, kNone, kNone, kNone};
};

// Both channels of a field.
class FieldMemory {
 public:
  void take(BytePair pair, std::size_t place) {
    if (pair.isPadding()) return forget();
    if (!pair.isControl()) return takeCharacters(pair);
    inPacket_ = false;
    const BytePair bare{static_cast<std::uint8_t>(pair.first & 0x7F),
                        static_cast<std::uint8_t>(pair.second & 0x7F)};
    // Control codes are sent twice and count once.
    const bool isRepetition = bare == last_;
    last_ = isRepetition ? BytePair{} : bare;
    if (isRepetition) return;
    current_ = isForSecondChannel(pair) ? 1 : 0;
    const std::uint8_t code = commandCode(pair);
    code != 0 ? channels_[current_].command(code, place) : channels_[current_].write();
  }

  std::size_t firstNeeded() const {
    return std::min(channels_[0].firstNeeded(), channels_[1].firstNeeded());
  }

  // The places of mode codes before a place, ascending; kNone for none.
  std::array<std::size_t, 2> modesBefore(std::size_t place) const {
    std::array<std::size_t, 2> places{channels_[0].modePlace(), channels_[1].modePlace()};
    for (std::size_t& mode : places) mode = mode < place ? mode : kNone;
    std::sort(places.begin(), places.end());
    return places;
  }

 private:
  void forget() { last_ = {}; }

  // Field 2 also carries packets of other data, which begin with a byte of 01 to 0F.
  void takeCharacters(BytePair pair) {
    forget();
    const unsigned first = pair.first & 0x7Fu;
    if (first > 0 && first < 0x10) {
      constexpr unsigned kPacketEnd = 0x0F;
      inPacket_ = first != kPacketEnd;
      return;
    }
    if (!inPacket_) channels_[current_].write();
  }

  std::array<ChannelMemory, 2> channels_;
  std::size_t current_ = 0;
  BytePair last_{};
  bool inPacket_ = false;
};

}  // namespace

void dropBeforeStart(FieldPairs& field, Time start) {
  const auto first = std::find_if(field.begin(), field.end(),
                                  [start](const TimedPair& pair) { return pair.time >= start; });
  const auto count = static_cast<std::size_t>(first - field.begin());
  FieldMemory memory;
  for (std::size_t i = 0; i < count; ++i) memory.take(field[i].bytes, i);

  const std::size_t needed = std::min(memory.firstNeeded(), count);
  std::size_t kept = 0;
  for (const std::size_t mode : memory.modesBefore(needed)) {
    if (mode != kNone) field[kept++] = field[mode];
  }
  field.erase(field.begin() + static_cast<std::ptrdiff_t>(kept),
              field.begin() + static_cast<std::ptrdiff_t>(needed));
}

}  // namespace quarrypack::captions
