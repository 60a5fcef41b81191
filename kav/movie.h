#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <vector>

#include "kav/movie_info.h"
#include "kav/problem_handler.h"
#include "kav/sample.h"
#include "kav/sample_options.h"
#include "kav/streams.h"
#include "kav/track.h"

// Reading a movie.
//
//     Movie movie(stream);
//     std::vector<std::uint8_t> bytes;
//     for (const Sample& sample : movie.samples()) {
//       bytes.resize(sample.info.size);
//       movie.read(sample, bytes);
//     }
//
// Failures are thrown as Exception, with an ErrorCode and an empty text; a lack of memory as
// std::bad_alloc. A movie and everything taken from it belong to one thread; movies on different
// streams share nothing.
namespace norvik::kav {

namespace impl {
class Reader;
class SampleIterator;
}  // namespace impl

using IStreamPtr = boost::intrusive_ptr<NorvikIStream>;

// Options for reading a movie.
struct MovieOptions {
  // Called for irregularities while boxes are read; see ProblemHandler.
  ProblemHandler problemHandler{};
};

// One walk over samples. It must not outlive its movie. After an exception the walk continues with
// the other tracks.
class SampleRange {
 public:
  // An input iterator over the remaining samples, for a range-for.
  class Iterator {
   public:
    using value_type = Sample;               // required of an input iterator
    using difference_type = std::ptrdiff_t;  // required of an input iterator

    // The current sample, valid until the iterator advances.
    const Sample& operator*() const { return *sample_; }

    // The same.
    const Sample* operator->() const { return sample_; }

    // Advances to the next sample; throws what SampleRange::next throws.
    Iterator& operator++() {
      sample_ = range_->next();
      return *this;
    }
    // The same, without a copy of the iterator.
    void operator++(int) { ++*this; }

    // Whether the walk has ended.
    bool operator==(std::default_sentinel_t) const { return sample_ == nullptr; }

   private:
    friend class SampleRange;
    explicit Iterator(SampleRange* range) : range_(range), sample_(range->next()) {}

    SampleRange* range_;
    const Sample* sample_;
  };

  // A range that was moved from may only be destroyed or assigned to.
  SampleRange(SampleRange&&) noexcept;

  // Ends the walk that this range had begun.
  SampleRange& operator=(SampleRange&&) noexcept;
  ~SampleRange();

  // The next sample, null at the end. It stays valid until the next call, or the end of the range.
  const Sample* next();

  // Whether there is a next sample.
  bool hasNext() const;

  // Walks the remaining samples; a range can be walked only once.
  Iterator begin() { return Iterator(this); }

  // Where begin() arrives.
  std::default_sentinel_t end() const { return {}; }

 private:
  friend class Movie;
  explicit SampleRange(std::unique_ptr<impl::SampleIterator> samples);

  std::unique_ptr<impl::SampleIterator> samples_;
  Sample current_;
};

// A movie that is being read. Tracks, samples and ranges taken from it must not outlive it; moving
// it keeps them valid. A moved-from movie may only be destroyed or assigned to.
class Movie {
 public:
  // Opens a movie on a stream, keeps a share of the stream, and reads up to and including the moov
  // box. Throws missingArgument for a null stream, noMovie, and the errors of boxes that are
  // refused.
  explicit Movie(IStreamPtr stream, const MovieOptions& options = {});
  // Tracks and ranges that were taken from the other movie belong to this one from here on.
  Movie(Movie&&) noexcept;

  // Tracks and ranges that were taken from this movie before become invalid.
  Movie& operator=(Movie&&) noexcept;
  ~Movie();

  // The fields of the movie's header.
  const MovieInfo& info() const;
  std::span<const Track> tracks() const;  // in file order

  // Begins a walk over the samples selected by the options. Throws missingArgument for a track
  // index past the end. For a track that cannot be walked, throws the error of its tables or
  // fragments: noTrackDefaults, incompleteSampleTable and the like.
  SampleRange samples(const SampleOptions& options = {});

  // Counts the samples that samples() would deliver with the same options, in one record for each
  // track, without reading sample bytes. Overlapping samples and repeated edits let a small file
  // deliver any amount. So the count ends once the counted samples together cost more than
  // costLimit bytes, each at least kSmallestSampleCost. A failure inside a track, or a sample whose
  // bytes lie past the end of the file, ends that track's count and is not reported here.
  std::vector<TrackTotals> countSamples(std::uint64_t costLimit, const SampleOptions& options = {});

  // The most that the samples of a real movie cost, for countSamples: 16 times the bytes of the
  // file and 8 MiB. Edits show the same media again in real movies too.
  std::uint64_t plausibleCost() const;

  // How much later the samples of a track are delivered than its edit list states, in ticks of the
  // track. Edit lists count in presentation times, but samples are selected by decoding time. So
  // the composition offset of the first sample is subtracted from the first media time, at most
  // down to 0. Otherwise the leading key picture of a track with reordered pictures would be lost.
  // Returns 0 for a track without an edit list or without such an offset. May read the first sample
  // of the track, and throws what a walk over it throws.
  std::uint64_t editShift(const Track& track) const;

  // Copies the bytes of a sample of this movie into destination, which must have the sample's
  // length. Throws missingArgument for another length, shortRead if the file ends first.
  void read(const Sample& sample, std::span<std::uint8_t> destination);

  // Copies bytes at an offset in the file. Throws shortRead if the file ends first.
  void readAt(std::uint64_t offset, std::span<std::uint8_t> destination);

  // Like readAt, for a few bytes of a sample whose other bytes are not needed soon: the surrounding
  // bytes are not fetched.
  void peekAt(std::uint64_t offset, std::span<std::uint8_t> destination);

  // Whether length bytes at an offset lie in the file.
  bool holds(std::uint64_t offset, std::uint64_t length) const;

  std::uint64_t fileLength() const;  // bytes

  // The top-level boxes of the whole file, in file order. Reads only their headers. The list ends
  // at a box with an impossible size, and before bytes too few for a header.
  std::vector<BoxPlace> topLevelBoxes();

  // The bytes of a box, header included. Throws implausibleCount for more than limit bytes,
  // shortRead.
  std::vector<std::uint8_t> readBox(const BoxPlace& box, std::uint64_t limit);

  // The ids of the tracks that a hint track gives hints for; empty for any other track.
  std::span<const std::uint32_t> hintedTracks(const Track& track) const;

  // The XMP metadata of the movie; empty if there is none. Reads further top-level boxes until it
  // is found. The bytes live as long as the movie.
  std::span<const std::uint8_t> xmp();

  // The length of the XMP metadata in bytes, without loading it into memory.
  std::uint64_t xmpLength();

 private:
  std::unique_ptr<impl::Reader> reader_;
};

}  // namespace norvik::kav
