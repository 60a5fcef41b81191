#pragma once

#include <cstddef>

#include "captions/cue.h"
#include "check/finding.h"

// Whether captions can be read: how long they are on the screen, and how much text they have.
namespace quarrypack::check {

// Judges the cues of a channel, in which each row of a roll-up caption is a cue of its own.
void judgeCues(const captions::ChannelCues& channel, Findings& findings);

// Text that appears at `start` and disappears after `duration`.
void judgeDuration(captions::Channel channel, captions::Time start, captions::Time duration,
                   Findings& findings);

// So many characters, read between `start` and the end of `duration`.
void judgeReadingSpeed(captions::Channel channel, captions::Time start, captions::Time duration,
                       std::size_t characters, Findings& findings);

// The characters of a row, in which consecutive spaces count once: wide gaps divide speakers.
std::size_t readCharacters(const captions::CueRow& row);

}  // namespace quarrypack::check
