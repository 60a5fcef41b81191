#pragma once

#include <cstddef>

#include "captions/cue.h"
#include "check/finding.h"

// Whether captions can be read: how long they are on the screen, and how much text they have.
namespace quarrypack::check {

// Applies the rules to the cues of a channel, in which each row of a roll-up caption is a cue of
// its own.
void judgeCues(const captions::ChannelCues& channel, Findings& findings);

// Checks the time on the screen of text that appears at `start` and disappears after `duration`.
void judgeDuration(captions::Channel channel, captions::Time start, captions::Time duration,
                   Findings& findings);

// Checks whether viewers can read this number of characters, which are on the screen from `start`
// for `duration`.
void judgeReadingSpeed(captions::Channel channel, captions::Time start, captions::Time duration,
                       std::size_t characters, Findings& findings);

// The number of characters in a row. Consecutive spaces count once, because wide gaps separate
// speakers.
std::size_t readCharacters(const captions::CueRow& row);

}  // namespace quarrypack::check
