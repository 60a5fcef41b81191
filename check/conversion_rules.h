#pragma once

#include <span>

#include "check/finding.h"

// What a plain conversion by quarrypack would do to a film.
namespace quarrypack::check::conversion_rules {

// Captions.
extern const Rule captionsInOtherTrack;
extern const Rule captionsInGap;
extern const Rule captionsAfterEnd;
extern const Rule captionsShareAPicture;
extern const Rule captionInPieces;
extern const Rule oddCaptionAtom;
extern const Rule unknownCaptionAtom;
extern const Rule severalCaptionTracks;
extern const Rule captionsInsideAlready;
extern const Rule picturesUnreadable;

// Pictures.
extern const Rule noVideo;
extern const Rule videoIsNotH264;
extern const Rule encryptedSamples;
extern const Rule severalNalLengthSizes;
extern const Rule invalidNalLength;
extern const Rule noKeyPictures;
extern const Rule firstPicturesLost;
extern const Rule lastPicturesHidden;
extern const Rule pictureDelay;
extern const Rule negativeOffsets;
extern const Rule rotationLost;

// Tracks.
extern const Rule firstEditOfNoLength;
extern const Rule editRateLost;
extern const Rule disabledTrackEnabled;
extern const Rule alternateGroupLost;
extern const Rule trackReferencesLost;
extern const Rule timeCodeDurationLost;
extern const Rule lastSampleCut;
extern const Rule trackWithoutName;
extern const Rule descriptionWithoutContent;

// The movie.
extern const Rule conversionFails;
extern const Rule metadataLost;
extern const Rule boxesLost;
extern const Rule fragmentsLost;
extern const Rule noCaptionTrack;

// All of these, in this order.
std::span<const Rule* const> all();

}  // namespace quarrypack::check::conversion_rules
