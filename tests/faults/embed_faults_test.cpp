// Streams whose k-th call fails or stops half way while captions are embedded, for every k: no
// fault may be swallowed. What does not throw has made the same bytes as without one.

#include <optional>
#include <stdexcept>

#include "embed/embedding.h"
#include "embed/refusal.h"
#include "embed/verification.h"
#include "tests/faults/fault_runs.h"

namespace quarrypack::test {
namespace {

namespace kav = norvik::kav;
using Fault = MemoryStream::Fault;

// The streams of one run: the film, the copy of it that is written from, the output, and the output
// as verification reads it.
struct Streams {
  explicit Streams(const Bytes& movie)
      : film(MemoryStream::create(movie)), input(MemoryStream::create(movie)) {}

  MemoryStreamPtr film;
  MemoryStreamPtr input;
  MemoryStreamPtr output = MemoryStream::create();
};

void write(Streams& streams) {
  embed::Film film(streams.film);
  embed::Embedding embedding(film, {});
  streams.input->open();
  streams.output->open();
  embedding.write(*streams.input, *streams.output);
  streams.output->close();
}

// Whether a run came through. Every failure must be one of those that the program knows.
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
  for (const NamedMovie& movie : faultMovies()) {
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
  for (const NamedMovie& movie : faultMovies()) {
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

TEST(EmbedFaults, OfTheFilmAreNotSwallowed) {
  for (const NamedMovie& movie : faultMovies()) {
    Streams reference(movie.bytes);
    write(reference);
    forEachFault("film of embedding, " + movie.name, [&](std::size_t k) {
      Streams streams(movie.bytes);
      streams.film->injectFault(k, Fault::fails);
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

INSTANTIATE_TEST_SUITE_P(Kinds, EmbedFaultKinds, testing::Values(Fault::fails, Fault::isShort));

}  // namespace
}  // namespace quarrypack::test
