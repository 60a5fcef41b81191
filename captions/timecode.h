#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "captions/time.h"

namespace quarrypack::captions {

// A rate at which time codes count frames.
struct FrameRate {
  std::string_view name;  // as users type it: "29.97"
  int framesPerSecond;    // frame numbers in a second of time code: 30 at 29.97
  Time frameTime;         // how long a frame really lasts
  int droppedPerMinute;   // frame numbers that drop-frame codes leave out; 0 for none
};

// 23.976, 24, 25, 29.97, 30, 50 and 59.94, in this order.
std::span<const FrameRate> frameRates();

// The rate of that name; null for an unknown one.
const FrameRate* findFrameRate(std::string_view name);

// The rate of television in North America and of SCC files, 29.97.
const FrameRate& televisionRate();

// HH:MM:SS:FF. Fields may be larger than on a clock and then carry over: 00:00:01:45 is 15 frames
// after 00:00:02:00 at 30 frames a second.
struct TimeCode {
  int hours = 0;  // 0 to 999, as all fields
  int minutes = 0;
  int seconds = 0;
  int frames = 0;
  bool dropFrame = false;  // written with ';' before the frames

  friend bool operator==(const TimeCode&, const TimeCode&) = default;
};

// Parses four numbers of one to three digits, separated by ':'. ';', '.' or ',' before the frames
// is accepted too and marks a drop-frame code. Returns nothing for any other text.
std::optional<TimeCode> parseTimeCode(std::string_view text);

// "HH:MM:SS;FF" for drop frame, "HH:MM:SS:FF" otherwise.
std::string toString(const TimeCode& code);

// Whether a clock at this rate can show the code: no field is too large, and drop-frame codes do
// not leave the frame out.
bool exists(const TimeCode& code, const FrameRate& rate);
bool isLeftOut(const TimeCode& code, const FrameRate& rate);

// The number of the frame, counted from 00:00:00:00. A left-out code counts as the first code of
// its minute that exists. At a rate without drop frame the mark has no effect.
std::int64_t frameNumber(const TimeCode& code, const FrameRate& rate);

// The code of a frame, which must not be negative. dropFrame is ignored at rates without drop
// frame.
TimeCode timeCodeOf(std::int64_t frame, const FrameRate& rate, bool dropFrame);

// The full hours of a code, which an offset "auto" subtracts from all codes of a file.
TimeCode wholeHours(const TimeCode& code);

}  // namespace quarrypack::captions
