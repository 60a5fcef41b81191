#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "kav/impl/bytes/stream_adapters.h"
#include "kav/impl/model/build_parameters.h"
#include "kav/impl/tree/root_box.h"
#include "kav/impl/writing/fragment_writer.h"
#include "kav/impl/writing/sample_sink.h"
#include "kav/kav_base.h"

namespace norvik::kav::impl {

class SampleDescriptor;

// Writes a movie. It builds the movie box with its tracks and keeps their edit lists and durations.
// A sample sink stores the samples and so determines the form of the file.
class Writer final : public KavBase {
 public:
  // Opens the stream and writes the head of the file. The movie is fragmented if there are
  // parameters for fragments, and regular otherwise.
  Writer(const boost::intrusive_ptr<NorvikIOStream>& stream, const MovieParameters& movie,
         const std::optional<FragmentParameters>& fragments = std::nullopt);
  ~Writer() override;

  // Throws writerNotOpen once the movie is finished. Every call checks this first, before any other
  // error.
  void requireOpen() const;

  // Builds and writes a track and returns its number. Sets trackId, movieTimescale and
  // lastSampleDuration itself.
  std::uint32_t addTrack(TrackParameters parameters);
  void addSampleDescription(std::uint32_t trackNumber, const SampleDescriptor& description);
  void addSample(const SampleToWrite& sample);

  // A packet before the first track waits: the movie box could not grow with another box after it.
  void setXMPMetadata(std::span<const std::uint8_t> packet);
  void finish();

 private:
  void moveTables();
  TrackDraft& track(std::uint32_t number);
  void writeEarlyMetadata();
  void writeMetadata(std::span<const std::uint8_t> packet);
  void setDurations();

  std::unique_ptr<NorvikKavIOStream> stream_;
  std::unique_ptr<RootBox, BoxDeleter> root_;
  std::optional<MovieDraft> movie_;
  std::unique_ptr<SampleSink> samples_;
  std::vector<std::vector<std::uint8_t>> earlyMetadata_;  // packets that wait for the tracks
  bool hasMetadata_ = false;                              // in the file
  bool open_ = true;
};

}  // namespace norvik::kav::impl
