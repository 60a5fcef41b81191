#include "captions/timecode.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace quarrypack::captions {
namespace {

constexpr FrameRate kRates[] = {
    {"23.976", 24, Time{29'429'400}, 0}, {"24", 24, Time{29'400'000}, 0},
    {"25", 25, Time{28'224'000}, 0},     {"29.97", 30, Time{23'543'520}, 2},
    {"30", 30, Time{23'520'000}, 0},     {"50", 50, Time{14'112'000}, 0},
    {"59.94", 60, Time{11'771'760}, 4},
};
static_assert(kRates[3].frameTime == kPairTime);

bool isDropMark(char mark) { return mark == ';' || mark == '.' || mark == ','; }

// Takes one to three digits from the front.
std::optional<int> takeNumber(std::string_view& text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const auto digits = static_cast<std::size_t>(end - text.data());
  if (error != std::errc() || digits > 3 || number < 0) return std::nullopt;
  text.remove_prefix(digits);
  return number;
}

// Takes the mark before field number `field` from the front.
bool takeMark(std::string_view& text, std::size_t field, TimeCode& code) {
  if (text.empty()) return false;
  const char mark = text.front();
  text.remove_prefix(1);
  if (mark == ':') return true;
  code.dropFrame = field == 3 && isDropMark(mark);
  return code.dropFrame;
}

std::string twoDigits(int number) {
  std::string text = std::to_string(number);
  if (number < 10) text.insert(text.begin(), '0');
  return text;
}

// Drop-frame codes leave numbers out in every minute but each tenth.
std::int64_t leftOutBefore(std::int64_t minutes, const FrameRate& rate) {
  return rate.droppedPerMinute * (minutes - minutes / 10);
}

// The number that a frame has if none is left out.
std::int64_t withLeftOut(std::int64_t frame, const FrameRate& rate) {
  const std::int64_t minute = std::int64_t{60} * rate.framesPerSecond - rate.droppedPerMinute;
  const std::int64_t tenMinutes = 10 * minute + rate.droppedPerMinute;
  const std::int64_t inTen = frame % tenMinutes;
  const std::int64_t minutes = std::max<std::int64_t>(inTen - rate.droppedPerMinute, 0) / minute;
  return frame + rate.droppedPerMinute * (frame / tenMinutes * 9 + minutes);
}

}  // namespace

std::span<const FrameRate> frameRates() { return kRates; }

const FrameRate* findFrameRate(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kRates), std::end(kRates),
                                         [&](const FrameRate& rate) { return rate.name == name; });
  return found == std::end(kRates) ? nullptr : found;
}

const FrameRate& televisionRate() { return kRates[3]; }

std::optional<TimeCode> parseTimeCode(std::string_view text) {
  TimeCode code;
  const std::array fields = {&code.hours, &code.minutes, &code.seconds, &code.frames};
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0 && !takeMark(text, i, code)) return std::nullopt;
    const auto number = takeNumber(text);
    if (!number) return std::nullopt;
    *fields.at(i) = *number;
  }
  if (!text.empty()) return std::nullopt;
  return code;
}

std::string toString(const TimeCode& code) {
  return twoDigits(code.hours) + ':' + twoDigits(code.minutes) + ':' + twoDigits(code.seconds) +
         (code.dropFrame ? ';' : ':') + twoDigits(code.frames);
}

bool isLeftOut(const TimeCode& code, const FrameRate& rate) {
  return code.dropFrame && code.minutes % 10 != 0 && code.seconds == 0 &&
         code.frames < rate.droppedPerMinute;
}

bool exists(const TimeCode& code, const FrameRate& rate) {
  return code.minutes < 60 && code.seconds < 60 && code.frames < rate.framesPerSecond &&
         !isLeftOut(code, rate);
}

std::int64_t frameNumber(const TimeCode& code, const FrameRate& rate) {
  const std::int64_t minutes = std::int64_t{60} * code.hours + code.minutes;
  const std::int64_t seconds = 60 * minutes + code.seconds;
  const int frames = isLeftOut(code, rate) ? rate.droppedPerMinute : code.frames;
  const std::int64_t counted = seconds * rate.framesPerSecond + frames;
  return code.dropFrame ? counted - leftOutBefore(seconds / 60, rate) : counted;
}

TimeCode timeCodeOf(std::int64_t frame, const FrameRate& rate, bool dropFrame) {
  const bool drops = dropFrame && rate.droppedPerMinute > 0;
  const std::int64_t shown = drops ? withLeftOut(frame, rate) : frame;
  const std::int64_t seconds = shown / rate.framesPerSecond;
  return {static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60 % 60),
          static_cast<int>(seconds % 60), static_cast<int>(shown % rate.framesPerSecond), drops};
}

TimeCode wholeHours(const TimeCode& code) {
  return {code.hours + code.minutes / 60, 0, 0, 0, code.dropFrame};
}

}  // namespace quarrypack::captions
