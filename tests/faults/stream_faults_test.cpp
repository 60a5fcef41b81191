// Streams whose k-th call fails or stops half way, for every k. No fault may be swallowed: what
// does not throw has made the same bytes as without one.

#include "tests/faults/fault_runs.h"

namespace quarrypack::test {
namespace {

namespace kav = norvik::kav;
using Fault = MemoryStream::Fault;

std::string nameOf(Fault fault) { return fault == Fault::fails ? "failing" : "short"; }

class StreamFaults : public testing::TestWithParam<Fault> {};

TEST_P(StreamFaults, EndTheReaderWithACode) {
  for (const NamedMovie& movie : faultMovies()) {
    const Bytes expected = readAll(*MemoryStream::create(movie.bytes));
    forEachFault("reader, " + movie.name + ", " + nameOf(GetParam()), [&](std::size_t k) {
      const MemoryStreamPtr stream = MemoryStream::create(movie.bytes);
      stream->injectFault(k, GetParam());
      try {
        EXPECT_EQ(readAll(*stream), expected) << "call " << k;
      } catch (const kav::Exception& exception) {
        EXPECT_NE(exception.code(), 0u);
      }
      EXPECT_EQ(stream->bytes(), movie.bytes) << "call " << k;
      EXPECT_EQ(stream->references(), 1u) << "call " << k;
      return stream->faultWasMet();
    });
  }
}

TEST_P(StreamFaults, OfTheInputEndTheConversion) {
  for (const NamedMovie& movie : faultMovies()) {
    const MemoryStreamPtr reference = MemoryStream::create();
    ASSERT_TRUE(convertQuietly(*MemoryStream::create(movie.bytes), *reference));
    forEachFault("input of the pass, " + movie.name + ", " + nameOf(GetParam()),
                 [&](std::size_t k) {
                   const MemoryStreamPtr input = MemoryStream::create(movie.bytes);
                   const MemoryStreamPtr output = MemoryStream::create();
                   input->injectFault(k, GetParam());
                   try {
                     EXPECT_TRUE(convertQuietly(*input, *output)) << "call " << k;
                     EXPECT_EQ(output->bytes(), reference->bytes()) << "call " << k;
                   } catch (const kav::Exception& exception) {
                     EXPECT_NE(exception.code(), 0u);
                   }
                   EXPECT_EQ(input->bytes(), movie.bytes) << "call " << k;
                   EXPECT_EQ(input->references(), 1u) << "call " << k;
                   EXPECT_EQ(output->references(), 1u) << "call " << k;
                   return input->faultWasMet();
                 });
  }
}

TEST_P(StreamFaults, OfTheOutputEndTheConversion) {
  for (const NamedMovie& movie : faultMovies()) {
    const MemoryStreamPtr reference = MemoryStream::create();
    ASSERT_TRUE(convertQuietly(*MemoryStream::create(movie.bytes), *reference));
    forEachFault("output of the pass, " + movie.name + ", " + nameOf(GetParam()),
                 [&](std::size_t k) {
                   const MemoryStreamPtr input = MemoryStream::create(movie.bytes);
                   const MemoryStreamPtr output = MemoryStream::create();
                   output->injectFault(k, GetParam());
                   try {
                     EXPECT_TRUE(convertQuietly(*input, *output)) << "call " << k;
                     EXPECT_EQ(output->bytes(), reference->bytes()) << "call " << k;
                   } catch (const kav::Exception& exception) {
                     EXPECT_NE(exception.code(), 0u);
                   }
                   return output->faultWasMet();
                 });
  }
}

TEST_P(StreamFaults, EndTheWriter) {
  const DescriptionSource descriptions(faultMovies().front().bytes);
  for (const WrittenForm& form : kWrittenForms) {
    const MemoryStreamPtr reference = MemoryStream::create();
    writeMovie(*reference, form, descriptions.first());
    ASSERT_EQ(countOf(*reference, "moof") > 1, form.fragmented);
    forEachFault("writer, " + form.name + ", " + nameOf(GetParam()), [&](std::size_t k) {
      const MemoryStreamPtr output = MemoryStream::create();
      output->injectFault(k, GetParam());
      try {
        writeMovie(*output, form, descriptions.first());
        EXPECT_EQ(output->bytes(), reference->bytes()) << "call " << k;
      } catch (const kav::Exception& exception) {
        EXPECT_NE(exception.code(), 0u);
      }
      EXPECT_EQ(output->references(), 1u) << "call " << k;
      return output->faultWasMet();
    });
  }
}

INSTANTIATE_TEST_SUITE_P(EveryCall, StreamFaults, testing::Values(Fault::fails, Fault::isShort),
                         [](const auto& test) {
                           return test.param == Fault::fails ? "Failing" : "Short";
                         });

}  // namespace
}  // namespace quarrypack::test
