#pragma once

#include <array>

#include "check/finding.h"

// The rules for what a plain conversion by quarrypack would do to a film. doc/checks.md describes
// each of them under its id.
namespace quarrypack::check {

// ---- Captions

inline constexpr Rule kCaptionsInOtherTrack{
    "captions-in-other-track", Severity::error,
    "quarrypack puts captions into samples of another track, because these come before the next "
    "picture. The samples are damaged, and the captions are lost.",
    "Use quarrypack-embed, which puts captions into pictures only."};

inline constexpr Rule kCaptionsInGap{
    "captions-in-gap", Severity::error,
    "Captions are due in a gap of a track and are lost with it.",
    "Use quarrypack-embed, which puts them into the next picture."};

inline constexpr Rule kCaptionsAfterEnd{
    "captions-after-end", Severity::warning,
    "Captions are due after the last sample of the movie, and quarrypack leaves them out.",
    "Let the captions end before the last picture; quarrypack-embed uses the last pictures for "
    "them as far as there is room."};

inline constexpr Rule kCaptionsShareAPicture{
    "captions-share-picture", Severity::warning,
    "quarrypack puts several captions into one picture, and they come out in reverse order. "
    "Viewers see garbled text.",
    "Use quarrypack-embed, or give every caption a picture of its own."};

inline constexpr Rule kCaptionInPieces{
    "caption-pieces-reversed", Severity::warning,
    "A caption sample of more than 56 bytes is cut into pieces of 24 pairs, which come out in "
    "reverse order. Viewers see garbled text.",
    "Use quarrypack-embed, or send two bytes of a field with each picture."};

inline constexpr Rule kOddCaptionAtom{
    "odd-caption-atom", Severity::warning,
    "A caption atom has an odd number of bytes. quarrypack completes its last pair with the next "
    "byte of the sample and does not count that pair.",
    "Use quarrypack-embed, which leaves the last byte out, or have the captions exported again."};

inline constexpr Rule kUnknownCaptionAtom{
    "unknown-caption-atom", Severity::warning,
    "A caption atom is for neither field, and quarrypack takes it for field 1. Viewers may see "
    "garbled text.",
    "Use quarrypack-embed, which leaves such atoms out, or have the captions exported again."};

inline constexpr Rule kSeveralCaptionTracks{
    "several-caption-tracks", Severity::warning,
    "quarrypack converts only the last caption track of a movie. The captions of the others are "
    "lost.",
    "Use quarrypack-embed, which takes each field from the first track that has it, or keep one "
    "caption track."};

inline constexpr Rule kCaptionsInsideAlready{
    "captions-inside-already", Severity::warning,
    "The pictures have captions already, and quarrypack adds those of the caption track to them. "
    "Viewers see both mixed.",
    "Use quarrypack-embed with --replace."};

inline constexpr Rule kPicturesUnreadable{
    "pictures-unreadable", Severity::warning,
    "The pictures cannot be read, so it is not known whether they have captions already.",
    "Repair the movie, or export it again."};

// ---- Pictures

inline constexpr Rule kNoVideo{"no-video", Severity::error,
                               "The movie has no video track, so quarrypack does not convert it.",
                               "Add the pictures that the captions belong to."};

inline constexpr Rule kVideoIsNotH264{
    "video-not-h264", Severity::error,
    "The pictures are not H.264 with an avcC record, but quarrypack inserts captions as H.264 "
    "units with a length of 4 bytes. The pictures that get captions are damaged.",
    "Use quarrypack-embed for HEVC. Encode any other video as H.264 first."};

inline constexpr Rule kEncryptedSamples{
    "encrypted-samples", Severity::error,
    "The samples of a track are encrypted. Their tables of encryption are not copied, and pictures "
    "that get captions cannot be decrypted.",
    "Use the movie as it was before encryption."};

inline constexpr Rule kSeveralNalLengthSizes{
    "several-nal-length-sizes", Severity::error,
    "The descriptions of the video have different sizes of NAL lengths, and quarrypack uses the "
    "last one for all. The pictures of the others that get captions are damaged.",
    "Use quarrypack-embed, which goes by the description of each picture."};

inline constexpr Rule kInvalidNalLength{
    "invalid-nal-length", Severity::error,
    "A picture that gets a caption has a negative NAL length, so it is damaged. quarrypack puts "
    "the caption at its end.",
    "Repair the movie, or export it again."};

inline constexpr Rule kNoKeyPictures{
    "no-key-pictures", Severity::warning,
    "The movie names no key pictures. The output has an empty table of them, so players cannot "
    "seek, and some do not start.",
    "Use quarrypack-embed, which leaves the tables of the movie as they are."};

inline constexpr Rule kFirstPicturesLost{
    "first-pictures-lost", Severity::warning,
    "The edit list begins after a key picture. quarrypack leaves out the pictures before the edit, "
    "so the first ones of the output cannot be decoded.",
    "Use quarrypack-embed, which keeps all pictures and the edit list."};

inline constexpr Rule kLastPicturesHidden{
    "last-pictures-hidden", Severity::warning,
    "The last pictures are shown after the end of the edit list that quarrypack writes. Players "
    "leave them out.",
    "Use quarrypack-embed, which keeps the edit list of the movie."};

inline constexpr Rule kPictureDelay{
    "picture-delay", Severity::warning,
    "The edit list that removes the reorder delay of B-frames is not kept, so the pictures come "
    "later than the sound.",
    "Use quarrypack-embed, which keeps the edit list of the movie."};

inline constexpr Rule kNegativeOffsets{
    "negative-offsets", Severity::warning,
    "The video has negative composition offsets, which quarrypack writes in the form for positive "
    "ones. Strict players show these pictures hours later.",
    "Use quarrypack-embed, which keeps the form of the offsets."};

inline constexpr Rule kRotationLost{
    "rotation-lost", Severity::warning,
    "A track is shown rotated, mirrored, scaled or moved, which quarrypack does not keep.",
    "Use quarrypack-embed, or set the rotation again afterwards."};

// ---- Tracks

inline constexpr Rule kFirstEditOfNoLength{
    "first-edit-of-no-length", Severity::warning,
    "A track begins with a gap, before which quarrypack writes an edit of no length. Some players "
    "ignore the gap and start the track at once.",
    "Use quarrypack-embed, or fill the beginning of the track."};

inline constexpr Rule kEditRateLost{
    "edit-rate-lost", Severity::warning,
    "The edit list plays media at another speed or shows a still picture. quarrypack writes it at "
    "normal speed.",
    "Use quarrypack-embed, which keeps the edit list of the movie."};

inline constexpr Rule kDisabledTrackEnabled{
    "disabled-track-enabled", Severity::warning,
    "A track is disabled, and quarrypack enables it. Players may show chapter titles as subtitles, "
    "or play a second sound track.",
    "Use quarrypack-embed, which keeps the headers of tracks."};

inline constexpr Rule kAlternateGroupLost{
    "alternate-group-lost", Severity::warning,
    "Tracks are alternatives to each other, such as languages, and quarrypack writes them without "
    "their group. Players may play several at once.",
    "Use quarrypack-embed, which keeps the headers of tracks."};

inline constexpr Rule kTrackReferencesLost{
    "track-references-lost", Severity::warning,
    "quarrypack does not keep references between tracks, such as those to chapters and time code.",
    "Use quarrypack-embed, which keeps them."};

inline constexpr Rule kTimeCodeDurationLost{
    "time-code-duration-lost", Severity::warning,
    "The last time code of a track gets the shortest possible duration, although it counts to the "
    "end of the film.",
    "Use quarrypack-embed, which keeps the times of all samples."};

inline constexpr Rule kLastSampleCut{
    "last-sample-cut", Severity::warning,
    "The last sample of a track gets the shortest possible duration, although it is shown longer.",
    "Use quarrypack-embed, which keeps the times of all samples."};

inline constexpr Rule kTrackWithoutName{
    "track-without-name", Severity::info,
    "A track has no name, which quarrypack reports as an error although it "
    "converts the track.",
    ""};

inline constexpr Rule kDescriptionWithoutContent{
    "description-without-content", Severity::info,
    "A sample description is empty, which quarrypack reports with a warning and copies.", ""};

// ---- The movie

inline constexpr Rule kConversionFails{
    "conversion-fails", Severity::error,
    "quarrypack cannot convert this movie and ends with an error.",
    "Repair the movie, or export it again."};

inline constexpr Rule kMetadataLost{
    "metadata-lost", Severity::info,
    "quarrypack does not keep metadata, such as title, place and date.",
    "Use quarrypack-embed, which keeps it."};

inline constexpr Rule kBoxesLost{"boxes-lost", Severity::info,
                                 "quarrypack does not keep these parts of the movie's tables.",
                                 "Use quarrypack-embed, which keeps them."};

inline constexpr Rule kFragmentsLost{
    "fragments-lost", Severity::info,
    "The movie has fragments, and quarrypack writes one block of media.",
    "Use quarrypack-embed, which keeps the fragments."};

inline constexpr Rule kNoCaptionTrack{
    "no-caption-track", Severity::info,
    "The film has no caption track, so quarrypack does not convert it. Only the captions inside "
    "its pictures are checked.",
    ""};

inline constexpr std::array kConversionRules = {&kCaptionsInOtherTrack,
                                                &kCaptionsInGap,
                                                &kCaptionsAfterEnd,
                                                &kCaptionsShareAPicture,
                                                &kCaptionInPieces,
                                                &kOddCaptionAtom,
                                                &kUnknownCaptionAtom,
                                                &kSeveralCaptionTracks,
                                                &kCaptionsInsideAlready,
                                                &kPicturesUnreadable,
                                                &kNoVideo,
                                                &kVideoIsNotH264,
                                                &kEncryptedSamples,
                                                &kSeveralNalLengthSizes,
                                                &kInvalidNalLength,
                                                &kNoKeyPictures,
                                                &kFirstPicturesLost,
                                                &kLastPicturesHidden,
                                                &kPictureDelay,
                                                &kNegativeOffsets,
                                                &kRotationLost,
                                                &kFirstEditOfNoLength,
                                                &kEditRateLost,
                                                &kDisabledTrackEnabled,
                                                &kAlternateGroupLost,
                                                &kTrackReferencesLost,
                                                &kTimeCodeDurationLost,
                                                &kLastSampleCut,
                                                &kTrackWithoutName,
                                                &kDescriptionWithoutContent,
                                                &kConversionFails,
                                                &kMetadataLost,
                                                &kBoxesLost,
                                                &kFragmentsLost,
                                                &kNoCaptionTrack};

}  // namespace quarrypack::check
