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
  std::string_view name;  // as users write it: "29.97"
  int framesPerSecond;    // what a time code counts to: 30 at 29.97
  Time frameTime;         // how long a frame really lasts
  int droppedPerMinute;   // frame numbers that drop-frame codes leave out; 0: there are none
};

// 23.976, 24, 25, 29.97, 30, 50 and 59.94, in this order.
std::span<const FrameRate> frameRates();

// The rate of that name, or none.
const FrameRate* findFrameRate(std::string_view name);

// The rate of television in North America and of SCC files, 29.97.
const FrameRate& televisionRate();

// HH:MM:SS:FF. Fields may be larger than a clock allows; they count on, 00:00:01:45 being 15 frames
// after 00:00:02:00 at 30 frames a second.
struct TimeCode {
  int hours = 0;  // 0 to 999, as all fields
  int minutes = 0;
  int seconds = 0;
  int frames = 0;
  bool dropFrame = false;  // written with ';' before the frames

  friend bool operator==(const TimeCode&, const TimeCode&) = default;
};

// Four numbers of one to three digits, separated by ':'. Before the frames ';', '.' or ',' is
// allowed too and marks a drop-frame code. None for any other text.
std::optional<TimeCode> parseTimeCode(std::string_view text);

// "HH:MM:SS;FF" for drop frame, "HH:MM:SS:FF" otherwise.
std::string toString(const TimeCode& code);

// Whether a clock at this rate can show the code: no field is too large, and the frame is not one
// of those that drop-frame codes leave out.
bool exists(const TimeCode& code, const FrameRate& rate);
bool isLeftOut(const TimeCode& code, const FrameRate& rate);

// The number of the frame from 00:00:00:00. A code that is left out is the first of its minute that
// is not. At a rate without drop frame the mark means nothing.
std::int64_t frameNumber(const TimeCode& code, const FrameRate& rate);

// The code of a frame, which is not negative. dropFrame is ignored at rates that have none.
TimeCode timeCodeOf(std::int64_t frame, const FrameRate& rate, bool dropFrame);

// The full hours of a code, which an offset "auto" takes off all codes of a file.
TimeCode wholeHours(const TimeCode& code);

}  // namespace quarrypack::captions
