// Streams whose k-th call fails or stops half way while captions are read out of a movie, outputs
// whose k-th write fails, and memory that runs out at the k-th allocation, for every k: no fault
// may be swallowed. A run that does not throw has made the same caption files as without a fault.

#include <new>
#include <sstream>
#include <streambuf>

#include "captions/formats.h"
#include "companions/captions/caption_documents.h"
#include "embed/embedding.h"
#include "sources/film_file.h"
#include "sources/picture_source.h"
#include "sources/track_source.h"
#include "tests/faults/fault_runs.h"
#include "tests/faults/short_memory.h"

namespace quarrypack::test {
namespace {

namespace kav = norvik::kav;
using Fault = MemoryStream::Fault;
using companions::CaptionDocuments;
using companions::CaptionOptions;
using companions::NamedDocument;

struct CaptionedMovie {
  std::string name;
  Bytes bytes;
  sources::CaptionPairs (*read)(sources::FilmFile&);
};

MovieBuilder captionedTrack() {
  const Bytes popOn = {0x94, 0x20, 0x94, 0xE0, 0xC1, 0x80, 0x94, 0x2F};
  const Bytes ofField2 = {0x15, 0x20, 0x15, 0xE0, 0xC2, 0x80, 0x15, 0x2F};
  MovieBuilder movie({videoTrack({.count = 14, .syncEvery = 3, .betweenAnchors = 1}),
                      captionTrack(CaptionTrackOptions{
                          .samples = {concat({cdat(popOn), cdt2(ofField2)}), cdat({0x94, 0x2C})},
                          .duration = 6 * 1001})});
  movie.tracks[0].edits = {{200, 1001}};
  return movie;
}

Bytes embedded(const Bytes& movie) {
  embed::Film film(MemoryStream::create(movie));
  embed::Embedding embedding(film, {});
  const MemoryStreamPtr input = MemoryStream::create(movie);
  const MemoryStreamPtr output = MemoryStream::create();
  embedding.write(*input, *output);
  return output->bytes();
}

std::vector<CaptionedMovie> captionedMovies() {
  MovieBuilder fragmented = captionedTrack();
  fragmented.splitIntoFragments({3, 1});
  const Bytes track = captionedTrack().build();
  return {{"track", track, sources::readTrackPairs},
          {"fragmented track", fragmented.build(), sources::readTrackPairs},
          {"pictures", embedded(track), sources::readPicturePairs},
          {"fragmented pictures", embedded(fragmented.build()), sources::readPicturePairs}};
}

CaptionDocuments documentsOf(const CaptionedMovie& movie, const MemoryStreamPtr& stream,
                             const captions::Format& format) {
  CaptionOptions options;
  options.input = "a film with a name longer than strings keep in themselves.mov";
  options.format = &format;
  options.allChannels = true;
  sources::FilmFile film(stream);
  return companions::makeDocuments(movie.read(film), options);
}

// All caption files of a movie, one after the other.
void write(const CaptionedMovie& movie, const MemoryStreamPtr& stream, std::ostream& out) {
  for (const captions::Format& format : captions::formats()) {
    const CaptionDocuments made = documentsOf(movie, stream, format);
    for (const NamedDocument& one : made.documents) format.write(one.document, out);
    for (const std::string& finding : made.findings) out << finding;
  }
}

std::string textOf(const CaptionedMovie& movie, const MemoryStreamPtr& stream) {
  std::ostringstream out;
  write(movie, stream, out);
  return out.str();
}

class CaptionFaultKinds : public testing::TestWithParam<Fault> {};

TEST_P(CaptionFaultKinds, OfTheMovieAreNotSwallowed) {
  for (const CaptionedMovie& movie : captionedMovies()) {
    const std::string whole = textOf(movie, MemoryStream::create(movie.bytes));
    ASSERT_NE(whole.find("CC3"), std::string::npos) << movie.name;
    forEachFault("captions, " + movie.name, [&](std::size_t k) {
      const MemoryStreamPtr stream = MemoryStream::create(movie.bytes);
      stream->injectFault(k, GetParam());
      try {
        EXPECT_EQ(textOf(movie, stream), whole) << "call " << k;
      } catch (const kav::Exception& exception) {
        EXPECT_NE(exception.code(), 0u);
      } catch (const sources::SourceError&) {
      }
      EXPECT_EQ(stream->references(), 1u) << "call " << k;
      return stream->faultWasMet();
    });
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, CaptionFaultKinds, testing::Values(Fault::fails, Fault::isShort));

// Discards its input, and fails at the k-th call.
class FailingBuffer final : public std::streambuf {
 public:
  explicit FailingBuffer(std::size_t k) : callsUntilFault_(k) {}
  bool faultWasMet() const { return callsUntilFault_ == 0; }

 private:
  bool admits() { return callsUntilFault_ > 0 && --callsUntilFault_ > 0; }
  int_type overflow(int_type c) override { return admits() ? c : traits_type::eof(); }
  std::streamsize xsputn(const char* /*bytes*/, std::streamsize count) override {
    return admits() ? count : 0;
  }

  std::size_t callsUntilFault_;
};

TEST(CaptionFaults, OfTheWrittenFileAreLeftInItsStream) {
  for (const CaptionedMovie& movie : captionedMovies()) {
    forEachFault("caption files, " + movie.name, [&](std::size_t k) {
      FailingBuffer buffer(k);
      std::ostream out(&buffer);
      write(movie, MemoryStream::create(movie.bytes), out);
      EXPECT_NE(out.good(), buffer.faultWasMet()) << "call " << k;
      return buffer.faultWasMet();
    });
  }
}

TEST(CaptionFaults, OfMemoryLeaveAsTheFailureOfTheAllocation) {
  for (const CaptionedMovie& movie : captionedMovies()) {
    const std::string whole = textOf(movie, MemoryStream::create(movie.bytes));
    forEachFault("captions, " + movie.name + ", allocations", [&](std::size_t k) {
      const MemoryStreamPtr stream = MemoryStream::create(movie.bytes);
      std::ostringstream out(std::string(2 * whole.size(), ' '));
      // A stream turns what its buffer throws into a state. The buffer is long enough.
      bool isWhole = false;
      {
        const ShortMemory shortMemory(k);
        try {
          write(movie, stream, out);
          isWhole = out.good();
        } catch (const std::bad_alloc&) {
        }
      }
      if (isWhole) {
        EXPECT_EQ(out.str().substr(0, whole.size()), whole) << "allocation " << k;
      }
      EXPECT_EQ(stream->references(), 1u) << "allocation " << k;
      return ShortMemory::faultWasMet();
    });
  }
}

}  // namespace
}  // namespace quarrypack::test
