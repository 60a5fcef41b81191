// Streams whose k-th call fails or stops half way, for every k. No fault may be swallowed: a run
// that does not throw has made the same bytes as one without a fault. The entries of a sample table
// are the only exception: a stream that ends among them leaves a table of fewer entries.

#include <map>
#include <set>

#include "tests/faults/fault_runs.h"
#include "tests/support/box_walk.h"
#include "tests/support/expect_code.h"

namespace quarrypack::test {
namespace {

namespace kav = norvik::kav;
using Fault = MemoryStream::Fault;

std::string nameOf(Fault fault) { return fault == Fault::fails ? "failing" : "short"; }

// Where the entries of the sample tables of a movie begin.
void listEntries(const std::vector<WalkedBox>& boxes, std::set<std::uint64_t>& places) {
  static const std::map<std::string, std::uint64_t> kFixedParts = {
      {"stts", 16}, {"ctts", 16}, {"stsc", 16}, {"stsz", 20},
      {"stco", 16}, {"co64", 16}, {"stss", 16}, {"sdtp", 12}};
  for (const WalkedBox& box : boxes) {
    const auto fixedPart = kFixedParts.find(box.type);
    if (fixedPart != kFixedParts.end()) places.insert(box.start + fixedPart->second);
    listEntries(box.children, places);
  }
}

// Whether a fault left a movie with fewer table entries.
class TableEntries {
 public:
  explicit TableEntries(const Bytes& movie) { listEntries(BoxWalk(movie).boxes(), places_); }

  bool wereCut(const MemoryStream& stream, Fault fault) const {
    return fault == Fault::isShort && stream.faultWasMet() &&
           places_.contains(stream.faultPosition());
  }

 private:
  std::set<std::uint64_t> places_;
};

class StreamFaults : public testing::TestWithParam<Fault> {};

TEST_P(StreamFaults, EndTheReaderWithACode) {
  for (const NamedMovie& movie : faultMovies()) {
    const Bytes expected = readAll(*MemoryStream::create(movie.bytes));
    const TableEntries entries(movie.bytes);
    forEachFault("reader, " + movie.name + ", " + nameOf(GetParam()), [&](std::size_t k) {
      const MemoryStreamPtr stream = MemoryStream::create(movie.bytes);
      stream->injectFault(k, GetParam());
      try {
        const Bytes read = readAll(*stream);
        if (entries.wereCut(*stream, GetParam())) {
          EXPECT_LE(read.size(), expected.size()) << "call " << k;
        } else {
          EXPECT_EQ(read, expected) << "call " << k;
        }
      } catch (const kav::Exception& exception) {
        EXPECT_NE(static_cast<kav::ErrorCode>(exception.code()), kav::ErrorCode::success);
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
    const TableEntries entries(movie.bytes);
    forEachFault(
        "input of the pass, " + movie.name + ", " + nameOf(GetParam()), [&](std::size_t k) {
          const MemoryStreamPtr input = MemoryStream::create(movie.bytes);
          const MemoryStreamPtr output = MemoryStream::create();
          input->injectFault(k, GetParam());
          try {
            EXPECT_TRUE(convertQuietly(*input, *output)) << "call " << k;
            if (entries.wereCut(*input, GetParam())) {
              EXPECT_NO_THROW(BoxWalk(output->bytes())) << "call " << k;
            } else {
              EXPECT_EQ(output->bytes(), reference->bytes()) << "call " << k;
            }
          } catch (const kav::Exception& exception) {
            EXPECT_NE(static_cast<kav::ErrorCode>(exception.code()), kav::ErrorCode::success);
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
    forEachFault(
        "output of the pass, " + movie.name + ", " + nameOf(GetParam()), [&](std::size_t k) {
          const MemoryStreamPtr input = MemoryStream::create(movie.bytes);
          const MemoryStreamPtr output = MemoryStream::create();
          output->injectFault(k, GetParam());
          try {
            EXPECT_TRUE(convertQuietly(*input, *output)) << "call " << k;
            EXPECT_EQ(output->bytes(), reference->bytes()) << "call " << k;
          } catch (const kav::Exception& exception) {
            EXPECT_NE(static_cast<kav::ErrorCode>(exception.code()), kav::ErrorCode::success);
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
        EXPECT_NE(static_cast<kav::ErrorCode>(exception.code()), kav::ErrorCode::success);
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
