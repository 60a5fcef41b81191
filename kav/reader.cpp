#include "kav/reader.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "kav/error_code.h"
#include "kav/exception.h"
#include "kav/memory_size.h"
#include "kav/movie.h"

namespace norvik::kav {

struct NorvikKavReader {
  NorvikKavReader(NorvikIStream* stream, const NorvikKavReaderOptions& options)
      : movie(stream, {.problemHandler = options.problemHandler}),
        samples{.applyEdits = !options.ignoreEditLists} {
    for (const Track& track : movie.tracks()) {
      auto& ofTrack = descriptions.emplace_back();
      for (const SampleDescription& description : track.descriptions) {
        ofTrack.push_back({description});
      }
    }
  }

  Movie movie;
  SampleOptions samples;
  std::vector<std::vector<NorvikKavSampleDescription>> descriptions;  // by track
};

struct NorvikKavSampleIterator {
  SampleRange range;
};

struct NorvikKavSample {
  Sample sample;
};

namespace {

constexpr std::uint32_t code(ErrorCode error) { return static_cast<std::uint32_t>(error); }

// Runs an operation and turns its exceptions into a code: nothing may be thrown past a plain
// function.
template <class Operation>
std::uint32_t guarded(Operation operation) noexcept {
  try {
    operation();
    return code(ErrorCode::success);
  } catch (const Exception& exception) {
    return exception.code();
  } catch (const std::bad_alloc&) {
    return code(ErrorCode::outOfMemory);
  } catch (const std::length_error&) {  // a vector of more than 2 GiB, on 32 bits
    return code(ErrorCode::outOfMemory);
  } catch (...) {
    return code(ErrorCode::ioFailed);
  }
}

template <class... Pointers>
void require(Pointers... pointers) {
  if ((!pointers || ...)) throw Exception(ErrorCode::missingArgument);
}

const Track& trackAt(const NorvikKavReader* reader, std::uint32_t index) {
  require(reader);
  if (index >= reader->movie.tracks().size()) throw Exception(ErrorCode::missingArgument);
  return reader->movie.tracks()[index];
}

// The record of one kind in a description.
template <class Info>
const Info& recordOf(const Info* record) {
  if (record == nullptr) throw Exception(ErrorCode::unsupportedTrackType);
  return *record;
}

// Releases an object as a plain handle.
template <class Handle, class... Content>
Handle* makeHandle(Content&&... content) {
  return std::unique_ptr<Handle>(new Handle{std::forward<Content>(content)...}).release();
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
    const MovieInfo& movie = reader->movie.info();
    *info = {.timescale = movie.timescale,
             .duration = movie.duration,
             .creationTime = movie.creationTime,
             .modificationTime = movie.modificationTime,
             .rate = movie.rate,
             .volume = movie.volume,
             .trackCount = static_cast<std::uint32_t>(reader->movie.tracks().size()),
             .isFragmented = movie.isFragmented ? 1U : 0U};
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
    if (track.info.handlerNameLength == 0) return;
    std::copy(track.name.begin(), track.name.end(), buffer);
    buffer[track.name.size()] = '\0';
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
    require(description, trackAt(reader, trackIndex).description(descriptionIndex));
    *description = &reader->descriptions[trackIndex][descriptionIndex - 1];
  });
}

std::uint32_t getSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                       NorvikKavSampleDescInfo* info) noexcept {
  return guarded([&] {
    require(description, info);
    *info = description->description.info();
    info->structSize = sizeof(*info);
  });
}

std::uint32_t getVideoSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                            NorvikKavVideoSampleDescInfo* info) noexcept {
  return guarded([&] {
    require(description, info);
    *info = recordOf(description->description.video());
  });
}

std::uint32_t getAudioSampleDescriptionInfo(const NorvikKavSampleDescription* description,
                                            NorvikKavAudioSampleDescInfo* info) noexcept {
  return guarded([&] {
    require(description, info);
    *info = recordOf(description->description.audio());
  });
}

std::uint32_t getSampleDescription(const NorvikKavSampleDescription* description,
                                   std::uint8_t* buffer) noexcept {
  return guarded([&] {
    require(description, buffer);
    const auto bytes = description->description.headerBytes();
    std::copy(bytes.begin(), bytes.end(), buffer);
  });
}

std::uint32_t makeSampleDescription(const NorvikKavSampleDescInfo* info, const std::uint8_t* header,
                                    NorvikKavSampleDescription** description) noexcept {
  return guarded([&] {
    require(info, description);
    const std::span bytes(header, header == nullptr ? 0 : info->headerLength);
    SampleDescription made(*info, bytes);
    if (bytes.size() != info->headerLength) throw Exception(ErrorCode::missingArgument);
    *description = makeHandle<NorvikKavSampleDescription>(std::move(made));
  });
}

std::uint32_t copySampleDescription(const NorvikKavSampleDescription* description,
                                    NorvikKavSampleDescription** copy) noexcept {
  return guarded([&] {
    require(description, copy);
    *copy = makeHandle<NorvikKavSampleDescription>(*description);
  });
}

std::uint32_t closeSampleDescription(NorvikKavSampleDescription* description) noexcept {
  const std::unique_ptr<NorvikKavSampleDescription> owned(description);
  return guarded([&] { require(description); });
}

std::uint32_t getHintedTrackCount(NorvikKavReader* reader, std::uint32_t trackIndex,
                                  std::uint32_t* count) noexcept {
  return guarded([&] {
    require(count);
    const Track& track = trackAt(reader, trackIndex);
    *count = static_cast<std::uint32_t>(reader->movie.hintedTracks(track).size());
  });
}

std::uint32_t getHintedTracks(NorvikKavReader* reader, std::uint32_t trackIndex,
                              std::uint32_t* trackIds) noexcept {
  return guarded([&] {
    require(trackIds);
    const Track& track = trackAt(reader, trackIndex);
    const auto hinted = reader->movie.hintedTracks(track);
    std::copy(hinted.begin(), hinted.end(), trackIds);
  });
}

std::uint32_t getEditShift(NorvikKavReader* reader, std::uint32_t trackIndex,
                           std::uint64_t* ticks) noexcept {
  return guarded([&] {
    require(ticks);
    const Track& track = trackAt(reader, trackIndex);
    *ticks = reader->samples.applyEdits ? reader->movie.editShift(track) : 0;
  });
}

std::uint32_t countSamples(NorvikKavReader* reader, std::uint64_t costLimit,
                           NorvikKavTrackTotals* totals) noexcept {
  return guarded([&] {
    require(reader, totals);
    const auto counted = reader->movie.countSamples(costLimit, reader->samples);
    std::copy(counted.begin(), counted.end(), totals);
  });
}

std::uint32_t createSampleIterator(NorvikKavReader* reader,
                                   NorvikKavSampleIterator** iterator) noexcept {
  return guarded([&] {
    require(reader, iterator);
    *iterator = makeHandle<NorvikKavSampleIterator>(reader->movie.samples(reader->samples));
  });
}

std::uint32_t closeSampleIterator(NorvikKavSampleIterator* iterator) noexcept {
  const std::unique_ptr<NorvikKavSampleIterator> owned(iterator);
  return guarded([&] { require(iterator); });
}

std::uint32_t hasNextSample(NorvikKavSampleIterator* iterator, std::uint32_t* hasNext) noexcept {
  return guarded([&] {
    require(iterator, hasNext);
    *hasNext = iterator->range.hasNext() ? 1 : 0;
  });
}

std::uint32_t nextSample(NorvikKavSampleIterator* iterator, NorvikKavSample** sample) noexcept {
  return guarded([&] {
    require(iterator, sample);
    const Sample* next = iterator->range.next();
    *sample = next == nullptr ? nullptr : makeHandle<NorvikKavSample>(*next);
  });
}

std::uint32_t closeSample(NorvikKavSample* sample) noexcept {
  const std::unique_ptr<NorvikKavSample> owned(sample);
  return guarded([&] { require(sample); });
}

std::uint32_t getSampleInfo(const NorvikKavSample* sample, NorvikKavSampleInfo* info) noexcept {
  return guarded([&] {
    require(sample, info);
    *info = sample->sample.info;
  });
}

std::uint32_t getSampleLocation(const NorvikKavSample* sample,
                                NorvikKavSampleLocation* location) noexcept {
  return guarded([&] {
    require(sample, location);
    const Sample& found = sample->sample;
    *location = {.fileOffset = found.fileOffset,
                 .trackIndex = found.track->index,
                 .descriptionIndex = found.descriptionIndex,
                 .fragmentSequence = found.fragmentSequence,
                 .dependencies = found.dependencies};
  });
}

std::uint32_t readBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept {
  return guarded([&] {
    require(reader, buffer);
    reader->movie.readAt(fileOffset, {buffer, length});
  });
}

std::uint32_t peekBytes(NorvikKavReader* reader, std::uint64_t fileOffset, std::uint8_t* buffer,
                        std::size_t length) noexcept {
  return guarded([&] {
    require(reader, buffer);
    reader->movie.peekAt(fileOffset, {buffer, length});
  });
}

std::uint32_t checkBytes(NorvikKavReader* reader, std::uint64_t fileOffset,
                         std::uint64_t length) noexcept {
  return guarded([&] {
    require(reader);
    if (!reader->movie.holds(fileOffset, length)) throw Exception(ErrorCode::shortRead);
  });
}

std::uint32_t getMetadataLength(NorvikKavReader* reader, std::size_t* length) noexcept {
  return guarded([&] {
    require(reader, length);
    *length = memorySize(reader->movie.xmpLength());
  });
}

std::uint32_t getMetadata(NorvikKavReader* reader, std::uint8_t* buffer) noexcept {
  return guarded([&] {
    require(reader, buffer);
    const auto metadata = reader->movie.xmp();
    std::copy(metadata.begin(), metadata.end(), buffer);
  });
}

}  // namespace norvik::kav
