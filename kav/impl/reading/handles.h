#pragma once

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/reading/sample_iterator.h"

namespace norvik::kav {

struct NorvikKavSample;
struct NorvikKavSampleDescription;

}  // namespace norvik::kav

namespace norvik::kav::impl {

// The plain handles of the public functions are the library's own objects under another name.

inline NorvikKavSample* toHandle(Sample* sample) {
  return reinterpret_cast<NorvikKavSample*>(sample);
}
inline Sample* fromHandle(NorvikKavSample* handle) { return reinterpret_cast<Sample*>(handle); }
inline const Sample* fromHandle(const NorvikKavSample* handle) {
  return reinterpret_cast<const Sample*>(handle);
}

inline const NorvikKavSampleDescription* toHandle(const SampleDescriptor* description) {
  return reinterpret_cast<const NorvikKavSampleDescription*>(description);
}
inline NorvikKavSampleDescription* toHandle(SampleDescriptor* description) {
  return reinterpret_cast<NorvikKavSampleDescription*>(description);
}
inline SampleDescriptor* fromHandle(NorvikKavSampleDescription* handle) {
  return reinterpret_cast<SampleDescriptor*>(handle);
}
inline const SampleDescriptor* fromHandle(const NorvikKavSampleDescription* handle) {
  return reinterpret_cast<const SampleDescriptor*>(handle);
}

}  // namespace norvik::kav::impl
