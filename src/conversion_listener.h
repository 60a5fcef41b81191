#pragma once

#include <cstddef>

namespace quarrypack {

struct CaptionSample;

// Called for what the user of a conversion should know, in the order in which it happens. A real
// conversion prints it; a rehearsal collects it.
class ConversionListener {
 public:
  virtual ~ConversionListener() = default;

  virtual void trackWithoutName() = 0;
  virtual void descriptionWithoutHeader() = 0;

  // A sample belongs to a caption track that is not converted.
  virtual void captionOfOtherTrack() = 0;

  // A caption has an atom that is for neither field.
  virtual void unknownCaptionAtom() = 0;

  // The length prefix of a NAL unit is negative.
  virtual void invalidNalLength() = 0;

  // A caption is about to go into the sample at this place of the current group. Calls of
  // unknownCaptionAtom and invalidNalLength for it follow.
  virtual void captionAttaching(const CaptionSample& /*caption*/, std::size_t /*place*/) {}

  // A caption is due after the last sample and goes nowhere.
  virtual void captionDropped(const CaptionSample& /*caption*/) {}
};

// Prints on standard output.
ConversionListener& consoleListener();

}  // namespace quarrypack
