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
// std::bad_alloc. A movie and all that is taken from it belong to one thread; movies on different
// streams share nothing.
namespace norvik::kav {

namespace impl {
class Reader;
class SampleIterator;
}  // namespace impl

using IStreamPtr = boost::intrusive_ptr<NorvikIStream>;

// How a movie is read.
struct MovieOptions {
  // Asked about irregularities while boxes are read; see ProblemHandler.
  ProblemHandler problemHandler{};
};

// One walk over samples. It must not be used once its movie is gone. After an exception the walk
// continues with the other tracks.
class SampleRange {
 public:
  class Iterator {
   public:
    using value_type = Sample;
    using difference_type = std::ptrdiff_t;

    const Sample& operator*() const { return *sample_; }
    const Sample* operator->() const { return sample_; }
    Iterator& operator++() {
      sample_ = range_->next();
      return *this;
    }
    void operator++(int) { ++*this; }
    bool operator==(std::default_sentinel_t) const { return sample_ == nullptr; }

   private:
    friend class SampleRange;
    explicit Iterator(SampleRange* range) : range_(range), sample_(range->next()) {}

    SampleRange* range_;
    const Sample* sample_;
  };

  SampleRange(SampleRange&&) noexcept;
  SampleRange& operator=(SampleRange&&) noexcept;
  ~SampleRange();

  // The next sample, null at the end. It stays valid until the next call, or the end of the range.
  const Sample* next();

  // Whether there is one.
  bool hasNext() const;

  // Walks what is left; a range is walked once.
  Iterator begin() { return Iterator(this); }
  std::default_sentinel_t end() const { return {}; }

 private:
  friend class Movie;
  explicit SampleRange(std::unique_ptr<impl::SampleIterator> samples);

  std::unique_ptr<impl::SampleIterator> samples_;
  Sample current_;
};

// A movie that is read. Tracks, samples and ranges taken from it must not be used after it; moving
// it keeps them valid. A movie that was moved from can only be destroyed or assigned to.
class Movie {
 public:
  // Opens a movie on a stream, of which it holds a share, and reads up to and including the moov
  // box. Throws missingArgument for a null stream, noMovie, and whatever boxes are refused for.
  explicit Movie(IStreamPtr stream, const MovieOptions& options = {});
  Movie(Movie&&) noexcept;
  Movie& operator=(Movie&&) noexcept;
  ~Movie();

  const MovieInfo& info() const;
  std::span<const Track> tracks() const;  // in the order of the file

  // Begins a walk over the samples that the options ask for. Throws missingArgument for a track
  // index past the end, and for a track that cannot be walked what its tables or fragments are
  // refused for: noTrackDefaults, incompleteSampleTable and the like.
  SampleRange samples(const SampleOptions& options = {});

  // Counts what samples() would deliver with the same options, a record for each track, without
  // touching sample bytes. Overlapping samples and repeated edits let a small file deliver any
  // amount, so the count ends once samples were counted that cost more than costLimit bytes
  // together, each at least kSmallestSampleCost. A failure inside a track, or a sample whose bytes
  // lie past the end of the file, ends its count and is not reported here.
  std::vector<TrackTotals> countSamples(std::uint64_t costLimit, const SampleOptions& options = {});

  // By how much the samples of a track are delivered later than its edit list says, in ticks of the
  // track. Edit lists count in presentation times and samples are picked by decoding time, so the
  // composition offset of the first sample is taken off the first media time, as far as it reaches:
  // the leading key picture of a track with reordered pictures would be lost otherwise. 0 for a
  // track without an edit list or without such an offset. May read the first sample of the track,
  // and fails as a walk over it does.
  std::uint64_t editShift(const Track& track) const;

  // Copies the bytes of a sample of this movie; destination is as long as the sample. Throws
  // missingArgument for a destination of another length, shortRead when the file ends before.
  void read(const Sample& sample, std::span<std::uint8_t> destination);

  // Copies bytes at an offset in the file. Throws shortRead when it ends before.
  void readAt(std::uint64_t offset, std::span<std::uint8_t> destination);

  // As readAt, for a few bytes of a sample whose other bytes will not be asked for soon: what lies
  // around them is not fetched.
  void peekAt(std::uint64_t offset, std::span<std::uint8_t> destination);

  // Whether length bytes at an offset lie in the file.
  bool holds(std::uint64_t offset, std::uint64_t length) const;

  std::uint64_t fileLength() const;  // bytes

  // The top-level boxes of the whole file, in their order. Only their headers are read. Boxes after
  // one whose size leads nowhere are left out, and bytes too few for a header.
  std::vector<BoxPlace> topLevelBoxes();

  // The bytes of a box, its header included. Throws implausibleCount for one of more than limit
  // bytes, shortRead.
  std::vector<std::uint8_t> readBox(const BoxPlace& box, std::uint64_t limit);

  // The ids of the tracks that a hint track gives hints for; empty for any other track.
  std::span<const std::uint32_t> hintedTracks(const Track& track) const;

  // The XMP metadata of the movie, empty without it. Reads on through the top-level boxes until it
  // is found. The bytes live as long as the movie.
  std::span<const std::uint8_t> xmp();

  // The length of the same in bytes, without bringing it into memory.
  std::uint64_t xmpLength();

 private:
  std::unique_ptr<impl::Reader> reader_;
};

}  // namespace norvik::kav
