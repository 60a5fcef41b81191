#pragma once

#include <array>

#include "check/finding.h"

// The rules for captions. doc/checks.md describes each of them under its id, with its threshold and
// its source. A test compares the two lists.
namespace quarrypack::check {

// ---- The byte pairs

inline constexpr Rule kParityMissing{
    "parity-missing", Severity::error,
    "No byte of this field has its parity bit, so decoders take most bytes for damaged ones: they "
    "show solid blocks or nothing.",
    "Set odd parity in every byte of the captions, then check the film again."};

inline constexpr Rule kParityError{
    "parity-error", Severity::error,
    "A byte lacks odd parity, so decoders take it for damaged: a solid block replaces the "
    "character, or a control code is lost.",
    "Deliver the captions again from their source, because the damaged bytes cannot be restored."};

inline constexpr Rule kPaddingWithoutParity{
    "padding-without-parity", Severity::info,
    "Frames without captions hold 00 00 in place of 80 80. Decoders show nothing for either, but "
    "monitors of the signal count parity errors.",
    "Write 80 80 for padding."};

inline constexpr Rule kSplitControlCode{
    "split-control-code", Severity::error,
    "A control code begins with the second byte of a pair, so its two bytes are in different "
    "frames: decoders ignore it and show its other half as a letter.",
    "Move the captions by one byte, so that each code fills one pair."};

inline constexpr Rule kSingleControlCode{
    "single-control-code", Severity::warning,
    "A control code of field 1 is sent once, so a single damaged byte on the way loses it: a "
    "caption stays, is missing or is in the wrong place.",
    "Send every control code of field 1 twice, in consecutive frames."};

inline constexpr Rule kDoubledControlCode{
    "doubled-control-code", Severity::info,
    "A control code of field 2 is sent twice. Decoders that expect single codes there act on both "
    "copies, which matters for backspaces, tabs, carriage returns and special characters.",
    "Send such codes once if a receiver shows them twice."};

inline constexpr Rule kWrongFieldCode{
    "wrong-field-code", Severity::error,
    "A code is in the form of the other field. Decoders ignore it, and with it often the whole "
    "caption.",
    "Exchange the fields of the captions, or encode them for the field that carries them."};

inline constexpr Rule kUnknownCode{
    "unknown-code", Severity::warning,
    "A control code is undefined. Decoders ignore it, so its intended effect is missing.",
    "Look at the caption at this time in the program that made it."};

inline constexpr Rule kTooManyPairs{
    "too-many-pairs", Severity::warning,
    "A field has more than one pair for a frame. What exceeds 119.88 bytes a second for both "
    "fields is late or lost where the captions become a television signal, and some players drop "
    "it.",
    "Spread the pairs over the frames before the caption; quarrypack-embed does this."};

inline constexpr Rule kPairBeforeFirstPicture{
    "pair-before-first-picture", Severity::warning,
    "Captions come before the first picture. No picture can carry them, so they are lost.",
    "Move the captions to the start of the pictures, or give the pictures an earlier start."};

inline constexpr Rule kPairAfterLastPicture{
    "pair-after-last-picture", Severity::warning,
    "Captions come after the last picture. No picture can carry them, so they are lost.",
    "Shift the captions if all of them are late; otherwise shorten them to the pictures."};

inline constexpr Rule kExtendedData{
    "extended-data", Severity::info,
    "Field 2 carries extended data (XDS), such as the name or the rating of the program.",
    "Make sure that it belongs to this film."};

inline constexpr Rule kExtendedDataIncomplete{
    "extended-data-incomplete", Severity::warning,
    "A packet of extended data (XDS) has no beginning or no end. Receivers drop it.",
    "Insert the extended data again, after the captions."};

inline constexpr Rule kExtendedDataChecksum{
    "extended-data-checksum", Severity::warning,
    "The checksum of a packet of extended data (XDS) is wrong. Receivers drop the packet.",
    "Insert the extended data again, after the captions."};

inline constexpr Rule kTextService{
    "text-service", Severity::info,
    "There is text for the text service, which shows pages instead of captions. Most players do "
    "not show it.",
    "Make sure that it is intended."};

// ---- The captions on the screen

inline constexpr Rule kNoCaptions{"no-captions", Severity::error,
                                  "No caption ever appears: viewers who need captions get none.",
                                  "Make sure that this file is the captioned version."};

inline constexpr Rule kRowTooLong{
    "row-too-long", Severity::error,
    "A row has more than 32 columns. Each character that does not fit overwrites the last one.",
    "Break the row earlier, or begin it farther to the left."};

inline constexpr Rule kTooManyRows{
    "too-many-rows", Severity::warning,
    "A caption has more than four rows. Receivers need not show more, and it hides the picture.",
    "Divide the caption into several."};

inline constexpr Rule kNeverShown{
    "never-shown", Severity::warning,
    "A caption is loaded but never displayed, so viewers miss its text.",
    "Send an end-of-caption code (EOC) when the caption is due."};

inline constexpr Rule kNeverErased{
    "never-erased", Severity::warning,
    "The last caption is still on the screen when the film ends. Players may keep it over whatever "
    "they show next.",
    "End the caption with an erase code (EDM) before the last picture."};

inline constexpr Rule kCueTooBrief{
    "cue-too-brief", Severity::error,
    "A caption is on the screen for less than 10 frames, a third of a second. Viewers see a flash.",
    "Let it begin earlier or end later, or join it with its neighbour."};

inline constexpr Rule kCueShort{
    "cue-short", Severity::warning,
    "A caption is on the screen for less than 5/6 of a second, too short a time for many readers.",
    "Let it begin earlier or end later, or join it with its neighbour."};

inline constexpr Rule kCueLong{
    "cue-long", Severity::warning,
    "A caption stays for more than 10 seconds, usually because the code that should erase it is "
    "missing. Viewers read it again and again.",
    "Erase the caption when its words are over."};

inline constexpr Rule kGapTooShort{
    "gap-too-short", Severity::warning,
    "The screen is empty for less than 2 frames between two captions, which viewers see as a "
    "flicker.",
    "Let the captions follow each other at once, or leave at least 2 frames between them."};

inline constexpr Rule kReadingTooFast{
    "reading-too-fast", Severity::warning,
    "A caption has more than 17 characters for each second on the screen, more than many viewers "
    "can read.",
    "Give it more time, or shorten its text."};

inline constexpr std::array kCaptionRules = {&kParityMissing,
                                             &kParityError,
                                             &kPaddingWithoutParity,
                                             &kSplitControlCode,
                                             &kSingleControlCode,
                                             &kDoubledControlCode,
                                             &kWrongFieldCode,
                                             &kUnknownCode,
                                             &kTooManyPairs,
                                             &kPairBeforeFirstPicture,
                                             &kPairAfterLastPicture,
                                             &kExtendedData,
                                             &kExtendedDataIncomplete,
                                             &kExtendedDataChecksum,
                                             &kTextService,
                                             &kNoCaptions,
                                             &kRowTooLong,
                                             &kTooManyRows,
                                             &kNeverShown,
                                             &kNeverErased,
                                             &kCueTooBrief,
                                             &kCueShort,
                                             &kCueLong,
                                             &kGapTooShort,
                                             &kReadingTooFast};

}  // namespace quarrypack::check
