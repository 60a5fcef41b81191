// Streams whose k-th call fails or stops half way while captions are embedded, and memory that runs
// out at the k-th allocation, for every k: no fault may be swallowed. A run that does not throw has
// made the same bytes as without a fault.

#include <new>

#include "embed/embedding.h"
#include "embed/refusal.h"
#include "embed/verification.h"
#include "tests/faults/fault_runs.h"
#include "tests/faults/short_memory.h"

namespace quarrypack::test {
namespace {

namespace kav = norvik::kav;
using Fault = MemoryStream::Fault;

// The last one takes several transfers.
std::vector<NamedMovie> copiedMovies() {
  std::vector<NamedMovie> movies = faultMovies();
  Bytes longMovie = movies.front().bytes;
  append(longMovie, box("free", Bytes(3u << 20, 0x5A)));
  movies.push_back({"long", std::move(longMovie)});
  return movies;
}

// The streams of one run: the film, the copy of it that is written from, the output, and the output
// as verification reads it.
struct Streams {
  explicit Streams(const Bytes& movie)
      : film(MemoryStream::create(movie)), input(MemoryStream::create(movie)) {}

  MemoryStreamPtr film;
  MemoryStreamPtr input;
  MemoryStreamPtr output = MemoryStream::create();
};

void write(Streams& streams, embed::Embedding& embedding) {
  streams.input->open();
  streams.output->open();
  embedding.write(*streams.input, *streams.output);
  streams.output->close();
}

void write(Streams& streams) {
  embed::Film film(streams.film);
  embed::Embedding embedding(film, {});
  write(streams, embedding);
}

void writeAndVerify(Streams& streams) {
  embed::Film film(streams.film);
  embed::Embedding embedding(film, {});
  write(streams, embedding);
  embedding.verify(streams.output);
}

// Whether a run succeeded. Every failure must be of a type that the program handles.
template <class Run>
bool comesThrough(Run run) {
  try {
    run();
    return true;
  } catch (const kav::Exception& exception) {
    EXPECT_NE(exception.code(), 0u);
  } catch (const embed::Refusal&) {
  } catch (const embed::VerificationError&) {
  }
  return false;
}

class EmbedFaultKinds : public testing::TestWithParam<Fault> {};

TEST_P(EmbedFaultKinds, OfTheInputAreNotSwallowed) {
  for (const NamedMovie& movie : copiedMovies()) {
    Streams reference(movie.bytes);
    write(reference);
    forEachFault("input of embedding, " + movie.name, [&](std::size_t k) {
      Streams streams(movie.bytes);
      streams.input->injectFault(k, GetParam());
      if (comesThrough([&] { write(streams); })) {
        EXPECT_EQ(streams.output->bytes(), reference.output->bytes()) << "call " << k;
      }
      return streams.input->faultWasMet();
    });
  }
}

TEST_P(EmbedFaultKinds, OfTheOutputAreNotSwallowed) {
  for (const NamedMovie& movie : copiedMovies()) {
    Streams reference(movie.bytes);
    write(reference);
    forEachFault("output of embedding, " + movie.name, [&](std::size_t k) {
      Streams streams(movie.bytes);
      streams.output->injectFault(k, GetParam());
      if (comesThrough([&] { write(streams); })) {
        EXPECT_EQ(streams.output->bytes(), reference.output->bytes()) << "call " << k;
      }
      return streams.output->faultWasMet();
    });
  }
}

TEST_P(EmbedFaultKinds, OfTheFilmAreNotSwallowed) {
  for (const NamedMovie& movie : copiedMovies()) {
    Streams reference(movie.bytes);
    write(reference);
    forEachFault("film of embedding, " + movie.name, [&](std::size_t k) {
      Streams streams(movie.bytes);
      streams.film->injectFault(k, GetParam());
      if (comesThrough([&] { write(streams); })) {
        EXPECT_EQ(streams.output->bytes(), reference.output->bytes()) << "call " << k;
      }
      EXPECT_EQ(streams.film->bytes(), movie.bytes) << "call " << k;
      EXPECT_EQ(streams.film->references(), 1u) << "call " << k;
      return streams.film->faultWasMet();
    });
  }
}

TEST(EmbedFaults, OfTheWrittenFileEndVerification) {
  for (const NamedMovie& movie : faultMovies()) {
    const MemoryStreamPtr input = MemoryStream::create(movie.bytes);
    embed::Film film(MemoryStream::create(movie.bytes));
    embed::Embedding embedding(film, {});
    const MemoryStreamPtr output = MemoryStream::create();
    input->open();
    output->open();
    embedding.write(*input, *output);
    for (const Fault fault : {Fault::fails, Fault::isShort}) {
      forEachFault("verification, " + movie.name, [&](std::size_t k) {
        const MemoryStreamPtr written = MemoryStream::create(output->bytes());
        written->injectFault(k, fault);
        const bool isVerified = comesThrough([&] { embedding.verify(written); });
        // Half of what was asked for may be all that was needed.
        if (fault == Fault::fails) {
          EXPECT_NE(isVerified, written->faultWasMet()) << "call " << k;
        }
        return written->faultWasMet();
      });
    }
  }
}

TEST(EmbedFaults, OfMemoryLeaveAsTheFailureOfTheAllocation) {
  for (const NamedMovie& movie : faultMovies()) {
    Streams reference(movie.bytes);
    write(reference);
    const Bytes& whole = reference.output->bytes();
    forEachFault("embedding and verification, " + movie.name + ", allocations", [&](std::size_t k) {
      Streams streams(movie.bytes);
      // The memory of the stream represents a disk, which is independent of ours.
      streams.output->bytes().reserve(2 * whole.size());
      bool isVerified = false;
      {
        const ShortMemory shortMemory(k);
        try {
          writeAndVerify(streams);
          isVerified = true;
        } catch (const std::bad_alloc&) {
        }
      }
      if (isVerified) {
        EXPECT_EQ(streams.output->bytes(), whole) << "allocation " << k;
      }
      EXPECT_EQ(streams.film->references(), 1u) << "allocation " << k;
      EXPECT_EQ(streams.output->references(), 1u) << "allocation " << k;
      return ShortMemory::faultWasMet();
    });
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, EmbedFaultKinds, testing::Values(Fault::fails, Fault::isShort));

}  // namespace
}  // namespace quarrypack::test
