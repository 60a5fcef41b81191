#include "companions/embed/embed_program.h"

#include <unistd.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <iostream>
#include <optional>
#include <utility>

#include "companions/embed/caption_files.h"
#include "companions/embed/report.h"
#include "companions/output_file.h"
#include "companions/program.h"
#include "companions/texts.h"
#include "embed/film.h"
#include "kaf/file_failure.h"
#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/error_text.h"
#include "kav/exception.h"
#include "process/progress_line.h"

namespace quarrypack::companions {

namespace {

using process::ProgressLine;
using process::ProgressTerminal;
using quell::kaf::OpenMode;
using quell::kafpkgutil::FileFailure;
using quell::kafpkgutil::KavStream;
using StreamPtr = boost::intrusive_ptr<KavStream>;

StreamPtr openStream(const std::string& path, std::uint32_t mode) {
  const StreamPtr stream(new KavStream(path, mode));
  stream->open();
  return stream;
}

// Runs a step and turns failures of its file and of the library into messages. Failures of the
// other file pass unchanged.
template <class Step>
auto explained(const std::string& what, const std::string& otherFile, Step step) {
  try {
    return step();
  } catch (const FileFailure& failure) {
    if (failure.fileName() == otherFile) throw;
    throw FileError(what + ": " + failure.reason());
  } catch (const norvik::kav::Exception& exception) {
    throw FileError(what + ": " + std::string(norvik::kav::errorText(exception.code())));
  }
}

void requireOwnFiles(const EmbedOptions& options) {
  const auto require = [](const std::string& input, const std::string& output) {
    if (input.empty() || output.empty()) return;
    if (!areSameFile(input, output) && input != output) return;
    throw UsageError("'" + input + "' and '" + output +
                     "' are the same file, which is read and must stay as it is");
  };
  for (const std::string* input :
       {&options.input, &options.captionsField1, &options.captionsField2}) {
    require(*input, options.output);
    require(*input, options.report);
  }
  require(options.output, options.report);
}

// Turns the counts of a pass into steps of a progress line.
class Steps {
 public:
  explicit Steps(ProgressLine& line) : line_(line) {}
  void operator()(std::uint64_t done) {
    line_.bytesDone(done - done_);
    done_ = done;
  }

 private:
  ProgressLine& line_;
  std::uint64_t done_ = 0;
};

void writeReport(const EmbedOptions& options, const embed::EmbedResult& result) {
  if (options.report.empty()) return;
  try {
    writeTextFile(options.report, [&](std::ostream& out) { out << reportText(options, result); });
  } catch (const FileError& error) {
    throw FileError("'" + options.output + "' is written, but not its report: " + error.what());
  }
}

class Run {
 public:
  explicit Run(const EmbedOptions& options) : options_(options) {}

  embed::EmbedResult run() {
    requireOwnFiles(options_);
    embed::EmbedSettings settings{
        .replace = options_.replace, .pad = options_.pad, .listCaptions = !options_.report.empty()};
    if (options_.hasCaptionFiles()) settings.captions = captionFiles();
    return explained("cannot read '" + options_.input + "'", {},
                     [&] { return embedInto(settings); });
  }

 private:
  std::array<captions::FieldPairs, embed::kFields> captionFiles() const {
    CaptionFiles files = readCaptionFiles(options_);
    for (const std::string& finding : files.findings) {
      std::cerr << kEmbedName << ": " << finding << ".\n";
    }
    return std::move(files.fields);
  }

  embed::EmbedResult embedInto(embed::EmbedSettings& settings) {
    embed::Film film(openStream(options_.input, OpenMode::kReadOnly));
    embed::Embedding embedding(film, std::move(settings));
    printFindings(kEmbedName, options_.input, embedding.result().findings);
    OutputFile output(options_.output);
    {
      ProgressLine progress(ProgressTerminal::on(STDERR_FILENO));
      progress.expectSamples(film.movie().fileLength() * (options_.verify ? 2 : 1));
      progress.captionsPlaced(embedding.result().captions);
      const auto written = [&output, steps = Steps(progress)](std::uint64_t done) mutable {
        steps(done);
        output.writtenUpTo(done);
      };
      explained("cannot write '" + options_.output + "'", options_.input,
                [&] { write(embedding, output.temporaryPath(), written); });
      if (options_.verify) {
        explained("cannot read '" + options_.output + "' again", options_.input,
                  [&] { verify(embedding, output.temporaryPath(), Steps(progress)); });
      }
    }
    // Nothing may fail once the file has its name.
    embed::EmbedResult result = embedding.result();
    output.commit();
    return result;
  }

  void write(embed::Embedding& embedding, const std::string& path,
             const embed::Embedding::Report& report) const {
    // The copy needs a stream of its own: the film reads tables meanwhile, and each reader has its
    // own position.
    const StreamPtr input = openStream(options_.input, OpenMode::kReadOnly);
    const StreamPtr output = openStream(path, OpenMode::kReadWrite);
    embedding.write(*input, *output, report);
    output->close();
  }

  static void verify(embed::Embedding& embedding, const std::string& path,
                     const embed::Embedding::Report& report) {
    embedding.verify(openStream(path, OpenMode::kReadOnly), report);
  }

  const EmbedOptions& options_;
};

}  // namespace

embed::EmbedResult embedCaptions(const EmbedOptions& options) {
  embed::EmbedResult result = Run(options).run();
  writeReport(options, result);
  return result;
}

std::string summaryText(const embed::EmbedResult& result, bool isVerified) {
  return counted(result.captions, "caption") + ", " + counted(result.pairs, "pair") + " in " +
         std::to_string(result.captionedPictures) + " of " + counted(result.pictures, "picture") +
         ", " +
         (result.lostPairs == 0 ? "no pairs lost" : counted(result.lostPairs, "pair") + " lost") +
         (isVerified ? ", verified" : ", not verified");
}

}  // namespace quarrypack::companions
