#include "check/conversion_rules.h"

#include <array>

namespace quarrypack::check::conversion_rules {

using enum Severity;

const Rule captionsInOtherTrack{
    "captions-in-other-track", error,
    "quarrypack puts captions into samples of another track, because these come before the next "
    "picture. The samples are damaged, and the captions are lost.",
    "Use quarrypack-embed, which puts captions into pictures only."};

const Rule captionsInGap{"captions-in-gap", error,
                         "Captions are due in a gap of a track and are lost with it.",
                         "Use quarrypack-embed, which puts them into the next picture."};

const Rule captionsAfterEnd{
    "captions-after-end", warning,
    "Captions are due after the last sample of the movie, and quarrypack leaves them out.",
    "Let the captions end before the last picture; quarrypack-embed uses the last pictures for "
    "them as far as there is room."};

const Rule captionsShareAPicture{
    "captions-share-picture", warning,
    "quarrypack puts several captions into one picture, and they come out in reverse order. "
    "Viewers see garbled text.",
    "Use quarrypack-embed, or give every caption a picture of its own."};

const Rule captionInPieces{
    "caption-pieces-reversed", warning,
    "A caption sample of more than 56 bytes is cut into pieces of 24 pairs, which come out in "
    "reverse order. Viewers see garbled text.",
    "Use quarrypack-embed, or send two bytes of a field with each picture."};

const Rule oddCaptionAtom{
    "odd-caption-atom", warning,
    "A caption atom has an odd number of bytes. quarrypack completes its last pair with the next "
    "byte of the sample and does not count that pair.",
    "Use quarrypack-embed, which leaves the last byte out, or have the captions exported again."};

const Rule unknownCaptionAtom{
    "unknown-caption-atom", warning,
    "A caption atom is for neither field, and quarrypack takes it for field 1. Viewers may see "
    "garbled text.",
    "Use quarrypack-embed, which leaves such atoms out, or have the captions exported again."};

const Rule severalCaptionTracks{
    "several-caption-tracks", warning,
    "quarrypack converts only the last caption track of a movie. The captions of the others are "
    "lost.",
    "Use quarrypack-embed, which takes each field from the first track that has it, or keep one "
    "caption track."};

const Rule captionsInsideAlready{
    "captions-inside-already", warning,
    "The pictures have captions already, and quarrypack adds those of the caption track to them. "
    "Viewers see both mixed.",
    "Use quarrypack-embed with --replace."};

const Rule picturesUnreadable{
    "pictures-unreadable", warning,
    "The pictures cannot be read, so that it is not known whether they have captions already.",
    "Repair the movie, or export it again."};

const Rule noVideo{"no-video", error,
                   "The movie has no video track, so quarrypack does not convert it.",
                   "Add the pictures that the captions belong to."};

const Rule videoIsNotH264{
    "video-not-h264", error,
    "The pictures are not H.264 with an avcC record, but quarrypack inserts captions as H.264 "
    "units with a length of 4 bytes. The pictures that get captions are damaged.",
    "Use quarrypack-embed for HEVC. Encode any other video as H.264 first."};

const Rule encryptedSamples{
    "encrypted-samples", error,
    "The samples of a track are encrypted. Their tables of encryption are not copied, and pictures "
    "that get captions cannot be decrypted.",
    "Use the movie as it was before encryption."};

const Rule severalNalLengthSizes{
    "several-nal-length-sizes", error,
    "The descriptions of the video have different sizes of NAL lengths, and quarrypack uses the "
    "last one for all. The pictures of the others that get captions are damaged.",
    "Use quarrypack-embed, which goes by the description of each picture."};

const Rule invalidNalLength{
    "invalid-nal-length", error,
    "A picture that gets a caption has a negative NAL length, so it is damaged. quarrypack puts "
    "the caption at its end.",
    "Repair the movie, or export it again."};

const Rule noKeyPictures{
    "no-key-pictures", warning,
    "The movie names no key pictures. The output has an empty table of them, so players cannot "
    "seek, and some do not start.",
    "Use quarrypack-embed, which leaves the tables of the movie as they are."};

const Rule firstPicturesLost{
    "first-pictures-lost", warning,
    "The edit list begins after a key picture. quarrypack leaves out the pictures before the edit, "
    "so the first ones of the output cannot be decoded.",
    "Use quarrypack-embed, which keeps all pictures and the edit list."};

const Rule lastPicturesHidden{
    "last-pictures-hidden", warning,
    "The last pictures are shown after the end of the edit list that quarrypack writes. Players "
    "leave them out.",
    "Use quarrypack-embed, which keeps the edit list of the movie."};

const Rule pictureDelay{
    "picture-delay", warning,
    "The edit list that removes the reorder delay of B-frames is not kept, so the pictures come "
    "later than the sound.",
    "Use quarrypack-embed, which keeps the edit list of the movie."};

const Rule negativeOffsets{
    "negative-offsets", warning,
    "The video has negative composition offsets, which quarrypack writes in the form for positive "
    "ones. Strict players show these pictures hours later.",
    "Use quarrypack-embed, which keeps the form of the offsets."};

const Rule rotationLost{
    "rotation-lost", warning,
    "A track is shown rotated, mirrored, scaled or moved, which quarrypack does not keep.",
    "Use quarrypack-embed, or set the rotation again afterwards."};

const Rule firstEditOfNoLength{
    "first-edit-of-no-length", warning,
    "A track begins with a gap, before which quarrypack writes an edit of no length. Some players "
    "ignore the gap and start the track at once.",
    "Use quarrypack-embed, or fill the beginning of the track."};

const Rule editRateLost{
    "edit-rate-lost", warning,
    "The edit list plays media at another speed or shows a still picture. quarrypack writes it at "
    "normal speed.",
    "Use quarrypack-embed, which keeps the edit list of the movie."};

const Rule disabledTrackEnabled{
    "disabled-track-enabled", warning,
    "A track is disabled, and quarrypack enables it. Players may show chapter titles as subtitles, "
    "or play a second sound track.",
    "Use quarrypack-embed, which keeps the headers of tracks."};

const Rule alternateGroupLost{
    "alternate-group-lost", warning,
    "Tracks are alternatives to each other, such as languages, and quarrypack writes them without "
    "their group. Players may play several at once.",
    "Use quarrypack-embed, which keeps the headers of tracks."};

const Rule trackReferencesLost{
    "track-references-lost", warning,
    "quarrypack does not keep references between tracks, such as those to chapters and time code.",
    "Use quarrypack-embed, which keeps them."};

const Rule timeCodeDurationLost{
    "time-code-duration-lost", warning,
    "The last time code of a track gets the shortest possible duration, although it counts to the "
    "end of the film.",
    "Use quarrypack-embed, which keeps the times of all samples."};

const Rule lastSampleCut{
    "last-sample-cut", warning,
    "The last sample of a track gets the shortest possible duration, although it is shown longer.",
    "Use quarrypack-embed, which keeps the times of all samples."};

const Rule trackWithoutName{"track-without-name", info,
                            "A track has no name, which quarrypack reports as an error although it "
                            "converts the track.",
                            ""};

const Rule descriptionWithoutContent{
    "description-without-content", info,
    "A sample description is empty, which quarrypack reports with a warning and copies.", ""};

const Rule conversionFails{"conversion-fails", error,
                           "quarrypack cannot convert this movie and ends with an error.",
                           "Repair the movie, or export it again."};

const Rule metadataLost{"metadata-lost", info,
                        "quarrypack does not keep metadata, such as title, place and date.",
                        "Use quarrypack-embed, which keeps it."};

const Rule boxesLost{"boxes-lost", info,
                     "quarrypack does not keep these parts of the movie's tables.",
                     "Use quarrypack-embed, which keeps them."};

const Rule fragmentsLost{"fragments-lost", info,
                         "The movie has fragments, and quarrypack writes one block of media.",
                         "Use quarrypack-embed, which keeps the fragments."};

const Rule noCaptionTrack{
    "no-caption-track", info,
    "The film has no caption track, so quarrypack does not convert it. Only the captions inside "
    "its pictures are checked.",
    ""};

std::span<const Rule* const> all() {
  static constexpr std::array kAll{&captionsInOtherTrack,
                                   &captionsInGap,
                                   &captionsAfterEnd,
                                   &captionsShareAPicture,
                                   &captionInPieces,
                                   &oddCaptionAtom,
                                   &unknownCaptionAtom,
                                   &severalCaptionTracks,
                                   &captionsInsideAlready,
                                   &picturesUnreadable,
                                   &noVideo,
                                   &videoIsNotH264,
                                   &encryptedSamples,
                                   &severalNalLengthSizes,
                                   &invalidNalLength,
                                   &noKeyPictures,
                                   &firstPicturesLost,
                                   &lastPicturesHidden,
                                   &pictureDelay,
                                   &negativeOffsets,
                                   &rotationLost,
                                   &firstEditOfNoLength,
                                   &editRateLost,
                                   &disabledTrackEnabled,
                                   &alternateGroupLost,
                                   &trackReferencesLost,
                                   &timeCodeDurationLost,
                                   &lastSampleCut,
                                   &trackWithoutName,
                                   &descriptionWithoutContent,
                                   &conversionFails,
                                   &metadataLost,
                                   &boxesLost,
                                   &fragmentsLost,
                                   &noCaptionTrack};
  return kAll;
}

}  // namespace quarrypack::check::conversion_rules
