// Captions embedded into the pictures of any movie, and the result verified: first the movie's own
// captions, then others in their place.

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "embed/embedding.h"
#include "embed/refusal.h"
#include "embed/verification.h"
#include "kav/exception.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/memory_stream.h"

namespace embed = quarrypack::embed;
namespace captions = quarrypack::captions;
namespace kav = norvik::kav;
using quarrypack::test::check;
using quarrypack::test::fail;
using quarrypack::test::MemoryStream;
using quarrypack::test::MemoryStreamPtr;

namespace {

// Tables with an entry for each sample may replace tables with one entry for all. Neither the
// samples of a track nor the entries of its tables are more than fit into its file one by one.
std::size_t mostOutput(std::size_t input, const embed::EmbedResult& result) {
  constexpr std::size_t kMostOfUnit = 256;
  constexpr std::size_t kTables = 4;
  constexpr std::size_t kFront = 4096;
  return kTables * input + kMostOfUnit * result.captionedPictures + kFront;
}

// A pop-on caption in either field.
std::array<captions::FieldPairs, embed::kFields> otherCaptions() {
  std::array<captions::FieldPairs, embed::kFields> fields;
  captions::Time time = captions::kPairTime;
  for (const captions::BytePair pair :
       {captions::BytePair{0x94, 0x20}, captions::BytePair{0x94, 0x70},
        captions::BytePair{0xC1, 0x80}, captions::BytePair{0x94, 0x2F}}) {
    fields[0].push_back({time, pair});
    fields[1].push_back({time + captions::kPairTime, pair});
    time += captions::kPairTime;
  }
  return fields;
}

// The verification of a file in which one byte is another ends like that of any file.
void verifyDamaged(embed::Embedding& embedding, const MemoryStream& output) {
  const MemoryStreamPtr damaged = MemoryStream::create(output.bytes());
  std::size_t place = 0;
  for (const std::uint8_t byte : output.bytes()) place = place * 31 + byte;
  damaged->bytes()[place % damaged->bytes().size()] ^= static_cast<std::uint8_t>(1 + place % 255);
  try {
    embedding.verify(damaged);
  } catch (const kav::Exception&) {
  } catch (const embed::VerificationError&) {
  }
}

void requireVerified(embed::Embedding& embedding, const MemoryStreamPtr& output) {
  try {
    embedding.verify(output);
  } catch (const kav::Exception&) {
    fail("what was written is a movie");
  } catch (const embed::VerificationError& error) {
    fail(error.what());
  }
}

void embedInto(const MemoryStream& file, embed::EmbedSettings settings) {
  embed::Film film(MemoryStream::create(file.bytes()));
  embed::Embedding embedding(film, std::move(settings));
  const MemoryStreamPtr input = MemoryStream::create(file.bytes());
  const MemoryStreamPtr output = MemoryStream::create();
  embedding.write(*input, *output);
  check(output->bytes().size() <= mostOutput(file.bytes().size(), embedding.result()),
        "the output is as large as the input with its captions and tables");
  requireVerified(embedding, output);
  verifyDamaged(embedding, *output);
}

void tryToEmbedInto(const MemoryStream& file, embed::EmbedSettings settings) {
  try {
    embedInto(file, std::move(settings));
  } catch (const kav::Exception&) {
  } catch (const embed::Refusal&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto file = MemoryStream::create({data, data + size});
  tryToEmbedInto(*file, {});
  tryToEmbedInto(*file, {.captions = otherCaptions(), .replace = true, .pad = size % 2 == 0});
  check(std::equal(data, data + size, file->bytes().begin(), file->bytes().end()),
        "the input stays as it was");
  return 0;
}
