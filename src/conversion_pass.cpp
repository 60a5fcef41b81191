#include "src/conversion_pass.h"

#include <unistd.h>

#include <algorithm>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <iostream>
#include <limits>
#include <map>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "kaf/kav_stream.h"
#include "kav/exception.h"
#include "kav/wrapping.h"
#include "kav/writer.h"
#include "process/interruption.h"
#include "process/progress_line.h"
#include "src/avcc.h"
#include "src/caption_delay.h"
#include "src/caption_queue.h"
#include "src/caption_sei.h"
#include "src/conversion_listener.h"
#include "src/movie_bytes.h"
#include "src/pass_output.h"
#include "src/sample_groups.h"
#include "tarn/error_strings.h"
#include "tarn/stream_mode.h"

namespace quarrypack {
namespace {

namespace kav = norvik::kav;
using quell::kafpkgutil::KavStream;

constexpr std::uint32_t kVideoHandler = 0x76696465;    // "vide"
constexpr std::uint32_t kCaptionHandler = 0x636c6370;  // "clcp"

constexpr int kConverted = 0;
constexpr int kFailed = 1;

std::uint32_t inRange(std::uint64_t count) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(count, std::numeric_limits<std::uint32_t>::max()));
}

// Gives the length size of NAL units, while it lives, the value that it has when a process starts.
class NalLengthSizeOfStart {
 public:
  NalLengthSizeOfStart() : kept_(nalLengthSize) { nalLengthSize = 4; }
  ~NalLengthSizeOfStart() { nalLengthSize = kept_; }
  NalLengthSizeOfStart(const NalLengthSizeOfStart&) = delete;
  NalLengthSizeOfStart& operator=(const NalLengthSizeOfStart&) = delete;

 private:
  std::uint8_t kept_;
};

// The movie that a conversion writes.
class MovieOutput final : public PassOutput {
 public:
  MovieOutput(kav::Movie& movie, kav::NorvikIOStream& output)
      : bytes_(movie), writer_(&output, configurationOf(movie.info())) {}

  std::uint32_t addTrack(const kav::NorvikKavTrackConfiguration& configuration) override {
    progress_.expectSamples(configuration.sampleCount);
    return writer_.addTrack(configuration);
  }

  void addSampleDescription(std::uint32_t trackNumber,
                            const kav::SampleDescription& description) override {
    writer_.addSampleDescription(trackNumber, description);
  }

  void samplesReady(SortedGroup& group, const SampleSlots& slots, std::size_t count) override;
  void write(const SortedGroup& group, const SampleSlots& slots, std::size_t captions) override;

  void finish() override { writer_.finish(); }

 private:
  static kav::NorvikKavWriterConfiguration configurationOf(const kav::MovieInfo& info);
  void writeSample(const SortedGroup& group, const SampleSlots& slots, std::size_t place);

  MovieBytes bytes_;
  kav::Writer writer_;
  std::vector<std::uint8_t> buffer_;
  std::size_t written_ = 0;  // samples of the current group
  process::ProgressLine progress_{process::ProgressTerminal::on(STDERR_FILENO)};
};

kav::NorvikKavWriterConfiguration MovieOutput::configurationOf(const kav::MovieInfo& info) {
  kav::NorvikKavWriterConfiguration configuration;
  configuration.timescale = info.timescale;
  configuration.creationTime = info.creationTime;
  configuration.modificationTime = info.modificationTime;
  configuration.rate = info.rate;
  configuration.volume = info.volume;
  return configuration;
}

void MovieOutput::samplesReady(SortedGroup& group, const SampleSlots& slots, std::size_t count) {
  for (; written_ < count; ++written_) {
    writeSample(group, slots, written_);
    group.releaseBytes(written_);
  }
}

void MovieOutput::write(const SortedGroup& group, const SampleSlots& slots, std::size_t captions) {
  progress_.captionsPlaced(captions);
  for (; written_ < group.length(); ++written_) writeSample(group, slots, written_);
  written_ = 0;
}

void MovieOutput::writeSample(const SortedGroup& group, const SampleSlots& slots,
                              std::size_t place) {
  const PendingSample& sample = group.record(place);
  const SampleSlots::Slot& slot = slots[sample.slot];
  if (buffer_.size() < sample.size) buffer_.resize(sample.size);
  const std::span<std::uint8_t> bytes(buffer_.data(), sample.size);
  if (const SplicedSampleBytes* spliced = group.splicedBytes(place)) {
    spliced->copyTo(bytes);
  } else {
    bytes_.readAt(sample.fileOffset, bytes);
  }
  writer_.addSample({.trackNumber = slot.trackNumber,
                     .descriptionIndex = slot.descriptionIndex,
                     .decodingTime = sample.decodingTime,
                     .compositionOffset = sample.compositionOffset,
                     .flags = sample.flags,
                     .size = sample.size,
                     .data = bytes.data()});
  progress_.sampleWritten(sample.size);
}

// One conversion, from an open movie to a finished output.
class ConversionPass {
 public:
  ConversionPass(kav::Movie& movie, MovieBytes::Need need, PassOutput& output,
                 ConversionListener& listener)
      : movie_(movie), bytes_(movie, need), output_(output), listener_(listener) {}

  // Adds the tracks of the output. Returns false if the input has no captions or no video for them.
  bool setUpTracks();

  // Copies all samples with their captions, and finishes the output.
  void copySamples();

 private:
  // What happens to the samples of an input track.
  enum class Fate { copied, queuedAsCaption, dropped };
  struct Route {
    Fate fate = Fate::dropped;
    std::uint32_t outputTrack = 0;
    std::uint32_t timescale = 0;
    bool isVideoTrack = false;
    std::uint64_t captionDelay = 0;  // units of timescale

    // The description of the latest sample, and its slot; 0 before the first sample.
    std::uint32_t descriptionIndex = 0;
    std::uint32_t slot = 0;
  };

  // What an output track will receive. Samples find their track by its id, so input tracks that
  // share an id are merged into one.
  struct Expected {
    std::uint64_t samples = 0;
    std::uint64_t gaps = 0;
  };

  void countSamples();
  void addTrack(const kav::Track& track);
  void addDescription(const kav::Track& track, const kav::SampleDescription& description,
                      std::uint32_t outputTrack);
  void routeTracks();
  void delayCaptions();

  void takeSample(const kav::Sample& sample, bool isLast);
  void spend(std::uint32_t sampleSize);
  void queueCaption(const kav::Sample& sample, const Route& route);
  void copySample(const kav::Sample& sample, Route& route, bool isLast);
  void flush(std::size_t groupLength);

  kav::Movie& movie_;
  MovieBytes bytes_;
  PassOutput& output_;
  ConversionListener& listener_;
  const std::uint64_t costLimit_ = movie_.plausibleCost();
  std::uint64_t cost_ = 0;  // of the samples taken so far

  const std::span<const kav::Track> tracks_ = movie_.tracks();
  std::map<std::uint32_t, std::uint32_t> outputTracks_;  // by input track id
  std::map<std::uint32_t, Expected> expected_;           // by input track id
  std::int64_t videoTrack_ = -1;                         // places in tracks_
  std::int64_t captionTrack_ = -1;
  std::vector<Route> routes_;  // by place in tracks_

  SampleSlots slots_;
  PendingSamples pending_;
  CaptionQueue captions_{bytes_};
  FlushDecision flushDecision_;
};

bool ConversionPass::setUpTracks() {
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    const auto place = static_cast<std::int64_t>(i);
    if (tracks_[i].handlerType == kCaptionHandler) captionTrack_ = place;
    if (tracks_[i].handlerType == kVideoHandler && videoTrack_ < 0) videoTrack_ = place;
  }
  const bool canConvert = captionTrack_ >= 0 && videoTrack_ >= 0;
  if (canConvert) countSamples();
  for (const kav::Track& track : tracks_) {
    if (track.handlerType != kCaptionHandler) addTrack(track);
  }
  routeTracks();
  return canConvert;
}

void ConversionPass::countSamples() {
  const std::vector<kav::TrackTotals> totals = movie_.countSamples(costLimit_);
  for (std::size_t i = 0; i < totals.size(); ++i) {
    Expected& expected = expected_[tracks_[i].info.trackId];
    expected.samples += totals[i].sampleCount;
    expected.gaps += totals[i].gapCount;
  }
}

void ConversionPass::addTrack(const kav::Track& track) {
  if (track.name.empty() || track.name.front() == '\0') {
    listener_.trackWithoutName();
  }
  const std::size_t descriptions = track.descriptions.size();

  kav::NorvikKavTrackConfiguration configuration;
  configuration.info = track.info;
  configuration.handlerType = track.handlerType;
  configuration.handlerName = track.name;
  configuration.sampleCount = inRange(expected_[track.info.trackId].samples);
  configuration.gapCount = inRange(expected_[track.info.trackId].gaps);
  configuration.descriptionCount = inRange(descriptions);
  std::uint64_t headerBytes = 0;
  for (const kav::SampleDescription& description : track.descriptions) {
    headerBytes += description.headerBytes().size();
  }
  if (descriptions != 0) {
    configuration.descriptionLength = inRange((headerBytes + descriptions - 1) / descriptions);
  }
  const std::uint32_t outputTrack = output_.addTrack(configuration);
  outputTracks_[track.info.trackId] = outputTrack;
  for (const kav::SampleDescription& description : track.descriptions) {
    addDescription(track, description, outputTrack);
  }
}

void ConversionPass::addDescription(const kav::Track& track,
                                    const kav::SampleDescription& description,
                                    std::uint32_t outputTrack) {
  const std::span<const std::uint8_t> header = description.headerBytes();
  if (header.empty()) {
    listener_.descriptionWithoutHeader();
  } else if (track.index == videoTrack_) {
    if (const auto config = parseAvcDecoderConfig(header)) {
      nalLengthSize = config->nalLengthSize;
    }
  }
  output_.addSampleDescription(outputTrack, description);
}

void ConversionPass::routeTracks() {
  routes_.resize(tracks_.size());
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    const std::uint32_t id = tracks_[i].info.trackId;
    Route& route = routes_[i];
    route.timescale = tracks_[i].info.mediaTimescale;
    const auto output = outputTracks_.find(id);
    if (output != outputTracks_.end()) {
      route.fate = Fate::copied;
      route.outputTrack = output->second;
      route.isVideoTrack =
          videoTrack_ >= 0 && id == tracks_[static_cast<std::size_t>(videoTrack_)].info.trackId;
    } else if (captionTrack_ >= 0 &&
               id == tracks_[static_cast<std::size_t>(captionTrack_)].info.trackId) {
      route.fate = Fate::queuedAsCaption;
    }
  }
}

// Called only when samples are copied: it may read a sample, and a broken track must not fail
// before the announcement.
void ConversionPass::delayCaptions() {
  const EditShift video = editShiftOf(movie_, tracks_[static_cast<std::size_t>(videoTrack_)]);
  for (std::size_t i = 0; i < routes_.size(); ++i) {
    Route& route = routes_[i];
    if (route.fate != Fate::queuedAsCaption) continue;
    route.captionDelay = captionDelay(video, editShiftOf(movie_, tracks_[i]));
  }
}

void ConversionPass::copySamples() {
  kav::SampleRange samples = movie_.samples();
  delayCaptions();
  for (const kav::Sample& sample : samples) takeSample(sample, !samples.hasNext());
  captions_.drop(listener_);
  output_.finish();
}

void ConversionPass::takeSample(const kav::Sample& sample, bool isLast) {
  spend(sample.info.size);
  bytes_.require(sample);

  Route& route = routes_[sample.track->index];
  switch (route.fate) {
    case Fate::copied:
      copySample(sample, route, isLast);
      break;
    case Fate::queuedAsCaption:
      queueCaption(sample, route);
      break;
    case Fate::dropped:
      listener_.captionOfOtherTrack();
      break;
  }
  if (isLast) flush(pending_.size());
}

void ConversionPass::spend(std::uint32_t sampleSize) {
  cost_ += std::max(sampleSize, kav::kSmallestSampleCost);
  if (cost_ > costLimit_) throw kav::Exception(kav::ErrorCode::implausibleCount);
}

void ConversionPass::queueCaption(const kav::Sample& sample, const Route& route) {
  const kav::NorvikKavSampleInfo& info = sample.info;
  captions_.push({.fileOffset = sample.fileOffset,
                  .size = info.size,
                  .decodingTime = kav::wrappingAdd(info.decodingTime, route.captionDelay),
                  .timescale = info.timescale,
                  .compositionOffset = info.compositionOffset});
}

void ConversionPass::copySample(const kav::Sample& sample, Route& route, bool isLast) {
  const kav::NorvikKavSampleInfo& info = sample.info;
  if (!isLast) {
    const FlushDecision::Sample shown{.isSync = (info.flags & kav::kSampleIsSync) != 0,
                                      .isOfVideoTrack = route.isVideoTrack,
                                      .decodingTime = info.decodingTime,
                                      .compositionOffset = info.compositionOffset,
                                      .timescale = info.timescale};
    if (flushDecision_.flushesBefore(shown, pending_.size())) {
      flush(flushDecision_.groupLength());
    }
  }
  // A sample without a description of its own gets the first one of its track.
  const std::uint32_t descriptionIndex = std::max(sample.descriptionIndex, 1U);
  if (route.descriptionIndex != descriptionIndex) {
    route.descriptionIndex = descriptionIndex;
    route.slot = slots_.find({route.outputTrack, descriptionIndex}, info.timescale);
  }
  pending_.append({.fileOffset = sample.fileOffset,
                   .decodingTime = info.decodingTime,
                   .size = info.size,
                   .compositionOffset = info.compositionOffset,
                   .slot = route.slot,
                   .flags = info.flags});
}

void ConversionPass::flush(std::size_t groupLength) {
  SortedGroup group(pending_, groupLength, slots_.timescales(), bytes_);
  const std::size_t captions = captions_.attachDue(
      group, listener_, [&](std::size_t count) { output_.samplesReady(group, slots_, count); });
  output_.write(group, slots_, captions);
  pending_.dropFront(groupLength);
}

// Opens both files. The output may be the input under another name, through a link or another path.
// Its content must not be dropped before that has been checked.
void openStreams(KavStream& input, KavStream& output) {
  input.open();
  output.open();
  if (output.sameFileAs(input)) throw kav::Exception(kav::ErrorCode::accessDenied);
  output.setSize(0);
}

int convertFile(const std::string& programName, const ConversionPaths& paths) {
  using norvik::tarn::FileStream;
  const boost::intrusive_ptr<KavStream> input(
      new KavStream(paths.inputPath, FileStream::getStreamMode(false, false, true)));
  const boost::intrusive_ptr<KavStream> output(
      new KavStream(paths.outputPath, FileStream::getStreamMode(true, false, true),
                    KavStream::Truncation::byCaller));
  openStreams(*input, *output);
  const process::RemovalOnInterruption removal(paths.outputPath);

  if (convertMovie(*input, *output,
                   "Converting clcp(v608) data in file " + paths.inputPath + " to file " +
                       paths.outputPath + "...")) {
    output->close();
    input->close();
    return kConverted;
  }
  std::cerr << "Error: No valid clcp data found in the file..." << std::endl;
  // Drops what has been written, so the movie stays unfinished.
  output->setSize(0);
  output->close();
  input->close();
  std::cout << programName << " failed! " << std::endl;
  output->removeIfOpenedHere();
  return kFailed;
}

}  // namespace

bool convertMovie(kav::NorvikIStream& input, kav::NorvikIOStream& output,
                  const std::string& announcement) {
  kav::Movie movie{kav::IStreamPtr(&input)};
  MovieOutput movieOutput(movie, output);
  ConversionPass pass(movie, MovieBytes::Need::neighbours, movieOutput, consoleListener());
  if (!pass.setUpTracks()) return false;
  std::cout << announcement << std::endl;
  pass.copySamples();
  return true;
}

bool rehearseConversion(kav::Movie& movie, PassOutput& output, ConversionListener& listener) {
  const NalLengthSizeOfStart start;
  ConversionPass pass(movie, MovieBytes::Need::nothingElse, output, listener);
  if (!pass.setUpTracks()) return false;
  pass.copySamples();
  return true;
}

int runConversion(const std::string& programName, const ConversionPaths& paths) {
  try {
    return convertFile(programName, paths);
  } catch (const std::bad_alloc&) {
    throw norvik::tarn::EErrorCode::outOfMemory;
  } catch (const std::length_error&) {  // a vector of more than 2 GiB, on 32 bits
    throw norvik::tarn::EErrorCode::outOfMemory;
  }
}

}  // namespace quarrypack
