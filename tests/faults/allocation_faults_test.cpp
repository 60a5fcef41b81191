// Memory that runs out at the k-th allocation, for every k, in the reader, the pass, the writer and
// the whole program: an error and nothing lost, or the same bytes as with enough memory.

#include <new>
#include <sstream>
#include <string_view>

#include "config/config_document.h"
#include "src/entry_point.h"
#include "tests/faults/fault_runs.h"
#include "tests/faults/short_memory.h"
#include "tests/support/expect_code.h"
#include "tests/support/run_program.h"

// The option library passes its values as plain pointers, and leaks one if the allocation of its
// holder fails.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:boost::program_options"; }

namespace quarrypack::test {
namespace {

namespace kav = norvik::kav;

TEST(AllocationFaults, EndTheReaderWithACode) {
  for (const NamedMovie& movie : faultMovies()) {
    const Bytes expected = readAll(*MemoryStream::create(movie.bytes));
    forEachFault("reader, " + movie.name + ", allocations", [&](std::size_t k) {
      const MemoryStreamPtr stream = MemoryStream::create(movie.bytes);
      Bytes read;
      read.reserve(expected.size());
      const auto code = thrownCode([&] {
        const ShortMemory shortMemory(k);
        readAll(*stream, read);
      });
      if (code == kav::ErrorCode::success) {
        EXPECT_EQ(read, expected) << "allocation " << k;
      } else {
        EXPECT_EQ(code, kav::ErrorCode::outOfMemory) << k;
      }
      EXPECT_EQ(stream->references(), 1u) << "allocation " << k;
      return ShortMemory::faultWasMet();
    });
  }
}

TEST(AllocationFaults, LeaveThePassAsTheFailureOfTheAllocation) {
  for (const NamedMovie& movie : faultMovies()) {
    const MemoryStreamPtr reference = MemoryStream::create();
    ASSERT_TRUE(convertQuietly(*MemoryStream::create(movie.bytes), *reference));
    forEachFault("pass, " + movie.name + ", allocations", [&](std::size_t k) {
      const MemoryStreamPtr input = MemoryStream::create(movie.bytes);
      const MemoryStreamPtr output = MemoryStream::create();
      // The memory of the stream represents a disk, which is independent of ours.
      output->bytes().reserve(reference->bytes().size() + (1u << 20));
      bool isWhole = false;
      {
        const ShortMemory shortMemory(k);
        try {
          isWhole = convertQuietly(*input, *output);
        } catch (const std::bad_alloc&) {
        }
      }
      if (isWhole) {
        EXPECT_EQ(output->bytes(), reference->bytes()) << "allocation " << k;
      }
      EXPECT_EQ(input->bytes(), movie.bytes) << "allocation " << k;
      EXPECT_EQ(input->references(), 1u) << "allocation " << k;
      EXPECT_EQ(output->references(), 1u) << "allocation " << k;
      return ShortMemory::faultWasMet();
    });
  }
}

TEST(AllocationFaults, LeaveTheWriterAsAnException) {
  const DescriptionSource descriptions(faultMovies().front().bytes);
  for (const WrittenForm& form : kWrittenForms) {
    const MemoryStreamPtr reference = MemoryStream::create();
    writeMovie(*reference, form, descriptions.first());
    forEachFault("writer, " + form.name + ", allocations", [&](std::size_t k) {
      const MemoryStreamPtr output = MemoryStream::create();
      output->bytes().reserve(reference->bytes().size() + (1u << 20));
      bool isWhole = false;
      {
        const ShortMemory shortMemory(k);
        try {
          writeMovie(*output, form, descriptions.first());
          isWhole = true;
        } catch (const std::bad_alloc&) {
        }
      }
      if (isWhole) {
        EXPECT_EQ(output->bytes(), reference->bytes()) << "allocation " << k;
      }
      EXPECT_EQ(output->references(), 1u) << "allocation " << k;
      return ShortMemory::faultWasMet();
    });
  }
}

// The tree is freed while memory is still short.
TEST(AllocationFaults, LeaveTheSettingsAsAnException) {
  const TemporaryFolder folder;
  const std::string name = (folder.path() / "settings.xml").string();
  const std::string_view longText = "text that is longer than a string keeps in itself";
  writeFile(name, text("<a><b c='" + std::string(longText) + "'/><d><e><f>" +
                       std::string(longText) + "</f></e></d></a>"));
  forEachFault("settings, allocations", [&](std::size_t k) {
    bool isWhole = true;
    {
      const ShortMemory shortMemory(k);
      try {
        orx::config::CurrentNode root;
        orx::config::ConfigDocument::load(root, name);
        if (root != nullptr) {
          isWhole = root->children.size() == 2 &&
                    root->children[0]->attributes.at(0)->data == longText &&
                    root->children[1]->children.at(0)->children.at(0)->data == longText;
        }
      } catch (const std::bad_alloc&) {
      }
    }
    EXPECT_TRUE(isWhole) << "allocation " << k;
    return ShortMemory::faultWasMet();
  });
}

// How the program ends when memory runs out before a conversion: the settings return their only
// code, and later steps have no name for the failure.
const std::string kEndsBefore[] = {
    "Configuration Error. ErrorCode 5210:The settings could not be parsed or loaded\n",
    "quarrypack::Caught an unknown exception while reading file\n"
    "Error: No valid clcp data found in the file...\n"};

// How it ends during a conversion.
const std::string kEndDuring = "Caught an error : There is not enough memory\n";

// Makes every allocation of a run of the program fail in turn. Expects the status and the output of
// a run with enough memory, or a true message about the lack of memory.
void failEachAllocationOfTheProgram(const std::string& what, const Bytes& movie, int wholeStatus) {
  const TemporaryFolder folder;
  const std::string in = (folder.path() / "clip.mov").string();
  const std::string out = (folder.path() / "clip.mp4").string();
  writeFile(in, movie);
  const auto outputBytes = [&] { return std::filesystem::exists(out) ? readFile(out) : Bytes(); };
  const std::string inOption = "--input-file=" + in;
  const std::string outOption = "--output-file=" + out;
  const std::array<const char*, 3> words = {"quarrypack", inOption.c_str(), outOption.c_str()};
  bool hasBegun = false;
  const Conversion conversion = [&](const std::string& programName, const ConversionPaths& paths) {
    hasBegun = true;
    return runConversion(programName, paths);
  };
  const auto run = [&] {
    nalLengthSize = 4;
    hasBegun = false;
    return runTool(words.size(), words.data(), conversion);
  };

  // The texts go into buffers that are made long enough before memory runs out.
  std::ostringstream outText(std::string(4096, ' '));
  std::ostringstream errText(std::string(4096, ' '));
  std::streambuf* const coutBuffer = std::cout.rdbuf(outText.rdbuf());
  std::streambuf* const cerrBuffer = std::cerr.rdbuf(errText.rdbuf());
  const int whole = run();
  const Bytes expected = outputBytes();

  std::size_t before = 0;
  std::size_t during = 0;
  std::string failure;
  for (std::size_t k = 1; failure.empty(); ++k) {
    outText.seekp(0);
    errText.seekp(0);
    std::filesystem::remove(out);
    int status = -1;
    {
      const ShortMemory shortMemory(k);
      status = run();
    }
    if (!ShortMemory::faultWasMet()) break;
    const std::string said = errText.str();
    const bool isWhole = status == wholeStatus && outputBytes() == expected;
    if (hasBegun) {
      if (status == 2) ++during;
      if (status == 2 ? !said.starts_with(kEndDuring) : !isWhole) failure = said;
    } else {
      ++before;
      if (status != 1 || !(said.starts_with(kEndsBefore[0]) || said.starts_with(kEndsBefore[1]))) {
        failure = said;
      }
    }
    if (readFile(in) != movie) failure = "the input was changed";
    if (!failure.empty()) {
      failure = "status " + std::to_string(status) + " at allocation " + std::to_string(k) + ": " +
                failure.substr(0, failure.find("  "));
    }
  }
  std::cout.rdbuf(coutBuffer);
  std::cerr.rdbuf(cerrBuffer);

  EXPECT_EQ(whole, wholeStatus);
  EXPECT_EQ(failure, "");
  EXPECT_GT(before, 0u);
  EXPECT_GT(during, 0u);
  std::cout << "[ FAULTS   ] " << before + during << " survived: " << what << ", allocations, "
            << during << " of them reported as a lack of memory" << std::endl;
}

TEST(AllocationFaults, EndAConversionWithTheStatusOfTheirOwn) {
  for (const NamedMovie& movie : faultMovies()) {
    failEachAllocationOfTheProgram("program, " + movie.name, movie.bytes, 0);
  }
}

TEST(AllocationFaults, EndAConversionWithoutCaptionsWithTheStatusOfTheirOwn) {
  failEachAllocationOfTheProgram("program, no captions", MovieBuilder({videoTrack()}).build(), 1);
}

}  // namespace
}  // namespace quarrypack::test
