#include "kav/reader.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "kav/error_code.h"
#include "kav/exception.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/impl/reading/handles.h"
#include "kav/impl/reading/reader.h"

namespace norvik::kav {

struct NorvikKavReader {
  NorvikKavReader(NorvikIStream* stream, const NorvikKavReaderOptions& options)
      : reader(stream, {options.ignoreEditLists, options.problemHandler}) {}

  impl::Reader reader;
};

struct NorvikKavSampleIterator {
  explicit NorvikKavSampleIterator(std::unique_ptr<impl::DocIterator> samples)
      : iterator(std::move(samples)) {}

  std::unique_ptr<impl::DocIterator> iterator;
};

namespace {

constexpr std::uint32_t code(ErrorCode error) { return static_cast<std::uint32_t>(error); }

// Runs an operation and turns what it throws into a code: nothing is thrown past a plain function.
template <class Operation>
std::uint32_t guarded(Operation operation) noexcept {
  try {
    operation();
    return code(ErrorCode::success);
  } catch (const Exception& exception) {
    return exception.code();
  } catch (const std::bad_alloc&) {
    return code(ErrorCode::outOfMemory);
  } catch (...) {
    return code(ErrorCode::ioFailed);
  }
}

template <class... Pointers>
void require(Pointers... pointers) {
  if ((!pointers || ...)) throw Exception(ErrorCode::missingArgument);
}

const impl::TrackRecord& recordAt(NorvikKavReader* reader, std::uint32_t index) {
  require(reader);
  if (index >= reader->reader.records().size()) throw Exception(ErrorCode::missingArgument);
  return reader->reader.records()[index];
}

const Track& trackAt(NorvikKavReader* reader, std::uint32_t index) {
  return *recordAt(reader, index).track;
}

template <class Info>
void copyRecord(const NorvikKavSampleDescription* description, Info* info) {
  require(description, info);
  const auto* found = dynamic_cast<const impl::DescriptorOf<Info>*>(impl::fromHandle(description));
  if (found == nullptr) throw Exception(ErrorCode::unsupportedTrackType);
  *info = found->info();
}

}  // namespace

std::uint32_t openReader(NorvikIStream* stream, const NorvikKavReaderOptions& options,
                         NorvikKavReader** reader) noexcept {
  return guarded([&] {
    require(stream, reader);
    *reader = std::make_unique<NorvikKavReader>(stream, options).release();
  });
}

std::uint32_t closeReader(NorvikKavReader* reader) noexcept {
  const std::unique_ptr<NorvikKavReader> owned(reader);
  return guarded([&] { require(reader); });
}

std::uint32_t getMovieInfo(NorvikKavReader* reader, NorvikKavMovieInfo* info) noexcept {
  return guarded([&] {
    require(reader, info);
    NorvikKavMovieInfo result;
    const MovieInfo& movie = reader->reader.info();
    result.timescale = movie.timescale;
    result.duration = movie.duration;
    result.creationTime = movie.creationTime;
    result.modificationTime = movie.modificationTime;
    result.rate = movie.rate;
    result.volume = movie.volume;
    result.trackCount = static_cast<std::uint32_t>(reader->reader.tracks().size());
    result.isFragmented = movie.isFragmented ? 1 : 0;
    *info = result;
  });
}

std::uint32_t getTrackInfo(NorvikKavReader* reader, std::uint32_t trackIndex,
                           NorvikKavTrackInfo* info) noexcept {
  return guarded([&] {
    require(info);
    *info = trackAt(reader, trackIndex).info;
  });
}

std::uint32_t getTrackHandler(NorvikKavReader* reader, std::uint32_t trackIndex,
                              std::uint32_t* handlerType) noexcept {
  return guarded([&] {
    require(handlerType);
    *handlerType = trackAt(reader, trackIndex).handlerType;
  });
}

std::uint32_t getTrackName(NorvikKavReader* reader, std::uint32_t trackIndex,
                           char* buffer) noexcept {
  return guarded([&] {
    require(buffer);
    const Track& track = trackAt(reader, trackIndex);
    std::copy(track.name.begin(), track.name.end(), buffer);
    if (track.info.handlerNameLength != 0) buffer[track.name.size()] = '\0';
  });
}

std::uint32_t getSampleDescriptionCount(NorvikKavReader* reader, std::uint32_t trackIndex,
                                        std::uint32_t* count) noexcept {
  return guarded([&] {
    require(count);
    *count = static_cast<std::uint32_t>(trackAt(reader, trackIndex).descriptions.size());
  });
}

std::uint32_t getSampleDescriptionHandle(NorvikKavReader* reader, std::uint32_t trackIndex,
                                         std::uint32_t descriptionIndex,
                                         const NorvikKavSampleDescription** description) noexcept {
  return guarded([&] {
    require(description);
    const SampleDescription* found = trackAt(reader, trackIndex).description(descriptionIndex);
    require(found);
    *description = impl::toHandle(&found->descriptor());
  });
}

std::uint32_t getSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                       NorvikKavSampleDescInfo* info) noexcept {
  return guarded([&] {
    require(description, info);
    *info = impl::fromHandle(description)->info();
    info->structSize = sizeof(*info);
  });
}

std::uint32_t getVideoSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                            NorvikKavVideoSampleDescInfo* info) noexcept {
  return guarded([&] { copyRecord(description, info); });
}

std::uint32_t getAudioSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                            NorvikKavAudioSampleDescInfo* info) noexcept {
  return guarded([&] { copyRecord(description, info); });
}

std::uint32_t getSampleDescription(const NorvikKavSampleDescription* description,
                                   std::uint8_t* buffer) noexcept {
  return guarded([&] {
    require(description, buffer);
    std::ranges::copy(impl::fromHandle(description)->headerBytes(), buffer);
  });
}

std::uint32_t makeSampleDescription(const NorvikKavSampleDescInfo* info, const std::uint8_t* header,
                                    NorvikKavSampleDescription** description) noexcept {
  return guarded([&] {
    require(info, description);
    if (info->headerLength != 0) require(header);
    *description =
        impl::toHandle(impl::makeDescriptor(*info, {header, info->headerLength}).release());
  });
}

std::uint32_t copySampleDescription(const NorvikKavSampleDescription* description,
                                    NorvikKavSampleDescription** copy) noexcept {
  return guarded([&] {
    require(description, copy);
    *copy = impl::toHandle(impl::fromHandle(description)->clone().release());
  });
}

std::uint32_t closeSampleDescription(NorvikKavSampleDescription* description) noexcept {
  const std::unique_ptr<impl::SampleDescriptor> owned(impl::fromHandle(description));
  return guarded([&] { require(description); });
}

std::uint32_t getHintedTrackCount(NorvikKavReader* reader, std::uint32_t trackIndex,
                                  std::uint32_t* count) noexcept {
  return guarded([&] {
    require(count);
    *count = static_cast<std::uint32_t>(impl::hintedTracks(recordAt(reader, trackIndex)).size());
  });
}

std::uint32_t getHintedTracks(NorvikKavReader* reader, std::uint32_t trackIndex,
                              std::uint32_t* trackIds) noexcept {
  return guarded([&] {
    require(trackIds);
    const std::span<const std::uint32_t> ids = impl::hintedTracks(recordAt(reader, trackIndex));
    std::copy(ids.begin(), ids.end(), trackIds);
  });
}

std::uint32_t getEditShift(NorvikKavReader* reader, std::uint32_t trackIndex,
                           std::uint64_t* ticks) noexcept {
  return guarded([&] {
    require(reader, ticks);
    *ticks = reader->reader.editShift(recordAt(reader, trackIndex));
  });
}

std::uint32_t countSamples(NorvikKavReader* reader, std::uint64_t costLimit,
                           NorvikKavTrackTotals* totals) noexcept {
  return guarded([&] {
    require(reader, totals);
    for (const TrackTotals& track : reader->reader.countSamples(costLimit)) {
      *totals++ = {track.sampleCount, track.gapCount};
    }
  });
}

std::uint32_t createSampleIterator(NorvikKavReader* reader,
                                   NorvikKavSampleIterator** iterator) noexcept {
  return guarded([&] {
    require(reader, iterator);
    *iterator =
        std::make_unique<NorvikKavSampleIterator>(reader->reader.createDocIterator()).release();
  });
}

std::uint32_t closeSampleIterator(NorvikKavSampleIterator* iterator) noexcept {
  const std::unique_ptr<NorvikKavSampleIterator> owned(iterator);
  return guarded([&] { require(iterator); });
}

std::uint32_t hasNextSample(NorvikKavSampleIterator* iterator, std::uint32_t* hasNext) noexcept {
  return guarded([&] {
    require(iterator, hasNext);
    *hasNext = iterator->iterator->hasNext() ? 1 : 0;
  });
}

std::uint32_t nextSample(NorvikKavSampleIterator* iterator, NorvikKavSample** sample) noexcept {
  return guarded([&] {
    require(iterator, sample);
    *sample = impl::toHandle(iterator->iterator->next().release());
  });
}

std::uint32_t closeSample(NorvikKavSample* sample) noexcept {
  const impl::SamplePtr owned(impl::fromHandle(sample));
  return guarded([&] { require(sample); });
}

std::uint32_t getSampleInfo(const NorvikKavSample* sample, NorvikKavSampleInfo* info) noexcept {
  return guarded([&] {
    require(sample, info);
    *info = impl::fromHandle(sample)->info;
  });
}

std::uint32_t getSampleLocation(const NorvikKavSample* sample,
                                NorvikKavSampleLocation* location) noexcept {
  return guarded([&] {
    require(sample, location);
    const Sample& found = *impl::fromHandle(sample);
    location->fileOffset = found.fileOffset;
    location->trackIndex = found.track->index;
    location->descriptionIndex = found.descriptionIndex;
    location->fragmentSequence = found.fragmentSequence;
    location->dependencies = found.dependencies;
  });
}

std::uint32_t readBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept {
  return guarded([&] {
    require(reader, buffer);
    reader->reader.readBytes(fileOffset, {buffer, length});
  });
}

std::uint32_t peekBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept {
  return guarded([&] {
    require(reader, buffer);
    reader->reader.peekBytes(fileOffset, {buffer, length});
  });
}

std::uint32_t checkBytes(NorvikKavReader* reader, std::uint64_t fileOffset,
                         std::uint64_t length) noexcept {
  return guarded([&] {
    require(reader);
    reader->reader.checkBytes(fileOffset, length);
  });
}

std::uint32_t getMetadataLength(NorvikKavReader* reader, std::size_t* length) noexcept {
  return guarded([&] {
    require(reader, length);
    *length = reader->reader.metadataLength();
  });
}

std::uint32_t getMetadata(NorvikKavReader* reader, std::uint8_t* buffer) noexcept {
  return guarded([&] {
    require(reader, buffer);
    reader->reader.getMetadata(buffer);
  });
}

}  // namespace norvik::kav
