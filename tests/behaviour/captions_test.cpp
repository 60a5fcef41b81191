// quarrypack-captions as a user runs it: what it reads, writes and prints, and its exit statuses.

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "captions/formats/scc.h"
#include "captions/sei.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/movie_builder.h"
#include "tests/support/run_program.h"

namespace quarrypack::test {
namespace {

using captions::BytePair;
using captions::FieldPairs;
using captions::kPairTime;

// Pop-on captions in CC1, with an idle time, padding inside a line, and a pair that is sent once.
const std::string kField1 =
    "Scenarist_SCC V1.0\r\n"
    "\r\n"
    "00:00:01;00\t9420 9420 94ae 94ae 9470 9470 c849 8080 c1ae 942f 942f\r\n"
    "\r\n"
    "00:00:03;10\t942c 942c\r\n"
    "\r\n"
    "00:00:05;00\t9420 9420 9470 9470 97a1 97a1 4f6e e520 6def f2e5 942f\r\n"
    "\r\n"
    "00:00:07;00\t942c 942c\r\n";

// Roll-up captions in CC3.
const std::string kField2 =
    "Scenarist_SCC V1.0\r\n"
    "\r\n"
    "00:00:01;04\t1525 1525 15ad 15ad 1570 1570 54f7 ef80\r\n"
    "\r\n"
    "00:00:03;00\t15ad 15ad 1570 1570 f2ef f773\r\n"
    "\r\n"
    "00:00:05;00\t152c 152c\r\n";

const std::string kSrt1 =
    "1\n00:00:01,301 --> 00:00:03,337\nHIA.\n\n"
    "2\n00:00:05,339 --> 00:00:07,007\nOne more\n";

// The pair of each frame of a film, padding where nothing is sent.
std::vector<BytePair> framesOf(const std::string& scc, std::size_t count) {
  std::vector<BytePair> frames(count);
  for (const captions::TimedPair& pair : captions::readScc(scc).pairs) {
    frames.at(static_cast<std::size_t>(pair.time / kPairTime)) = pair.bytes;
  }
  return frames;
}

constexpr std::size_t kFrames = 240;
constexpr std::uint32_t kTick = 1001;

Bytes bytesOf(BytePair pair) { return {pair.first, pair.second}; }

// A caption track with a sample for each frame, which has a pair of each field.
MovieTrack captionsByFrame() {
  MovieTrack track = captionTrack({.timescale = 30000, .duration = kTick});
  const std::vector<BytePair> one = framesOf(kField1, kFrames);
  const std::vector<BytePair> two = framesOf(kField2, kFrames);
  for (std::size_t i = 0; i < kFrames; ++i) {
    MovieSample sample;
    sample.bytes = concat({cdat(bytesOf(one[i])), cdt2(bytesOf(two[i]))});
    sample.duration = kTick;
    sample.sync = true;
    track.samples.push_back(sample);
  }
  return track;
}

MovieTrack pictures(std::size_t betweenAnchors = 0) {
  return videoTrack({.count = kFrames,
                     .timescale = 30000,
                     .duration = kTick,
                     .syncEvery = 30,
                     .betweenAnchors = betweenAnchors});
}

// Captions inside the pictures, in order of presentation, as an encoder puts them there.
MovieTrack captionedPictures(const captions::NalRules& rules, std::size_t betweenAnchors = 0) {
  MovieTrack track = pictures(betweenAnchors);
  const std::vector<BytePair> one = framesOf(kField1, kFrames);
  const std::vector<BytePair> two = framesOf(kField2, kFrames);
  std::uint32_t decodingTime = 0;
  for (MovieSample& sample : track.samples) {
    const std::size_t frame = (decodingTime + sample.compositionOffset) / kTick;
    decodingTime += sample.duration;
    if (frame >= kFrames) continue;
    const std::array triplets = {
        captions::CcTriplet{true, captions::CcType::field1, one[frame].first, one[frame].second},
        captions::CcTriplet{true, captions::CcType::field2, two[frame].first, two[frame].second}};
    Bytes unit;
    captions::buildCaptionUnit(unit, {&rules, 4, 0}, triplets);
    if (&rules == &captions::kHevcRules) {
      sample.bytes = lengthPrefixed(concat({Bytes{2, 1}, Bytes(40, 0x55)}));
    }
    sample.bytes = concat({unit, sample.bytes});
  }
  if (&rules == &captions::kHevcRules) {
    Bytes record(23);
    record[0] = 1;
    record[21] = 3;
    track.entries = {videoEntry("hvc1", boxAround("hvcC", record))};
  }
  return track;
}

class Captions : public testing::Test {
 protected:
  ProgramResult run(std::vector<std::string> words, ProgramOptions options = {}) {
    options.program = QUARRYPACK_CAPTIONS_PROGRAM;
    options.programName = "quarrypack-captions";
    return runProgram(words, options);
  }

  // Writes a file and reads it; standard error must stay empty.
  std::string read(const Bytes& file, std::vector<std::string> words = {},
                   const std::string& name = "film.mov") {
    words.push_back(write(name, file));
    const ProgramResult result = run(words);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(readFile(path(name)) == file) << "the input was changed";
    return result.out;
  }
  std::string read(const MovieBuilder& movie, const std::vector<std::string>& words = {}) {
    return read(movie.build(), words);
  }

  void expectBothFields(const MovieBuilder& movie, const std::string& source = "auto") {
    EXPECT_EQ(read(movie, {"--source", source}), kSrt1);
    EXPECT_EQ(read(movie, {"--source", source, "--format", "scc"}), kField1);
    EXPECT_EQ(read(movie, {"--source", source, "--format", "scc", "--channel", "CC3"}), kField2);
  }

  std::string write(const std::string& name, const Bytes& bytes) {
    writeFile(path(name), bytes);
    return path(name);
  }
  std::string path(const std::string& name) const { return (folder_.path() / name).string(); }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

 private:
  TemporaryFolder folder_;
};

// ---- Sources

TEST_F(Captions, OfATrackAreRead) {
  expectBothFields(MovieBuilder({pictures(), captionsByFrame()}));
}

TEST_F(Captions, OfAFragmentedTrackAreRead) {
  MovieBuilder movie({pictures(), captionsByFrame()});
  movie.splitIntoFragments({50, 50});
  expectBothFields(movie);
}

TEST_F(Captions, InH264PicturesAreRead) {
  expectBothFields(MovieBuilder({captionedPictures(captions::kH264Rules)}));
}

TEST_F(Captions, InHevcPicturesAreRead) {
  expectBothFields(MovieBuilder({captionedPictures(captions::kHevcRules)}));
}

TEST_F(Captions, AreTheSameInEveryRun) {
  const MovieBuilder movie({pictures(), captionsByFrame()});
  for (const std::string format : {"scc", "srt", "vtt", "json"}) {
    const std::string first = read(movie, {"--format", format});
    ASSERT_NE(first, "");
    EXPECT_EQ(read(movie, {"--format", format}), first);
  }
}

TEST_F(Captions, InFragmentedPicturesAreRead) {
  MovieBuilder movie({captionedPictures(captions::kH264Rules)});
  movie.splitIntoFragments({31});
  expectBothFields(movie);
}

TEST_F(Captions, InReorderedPicturesAreReadInOrderOfPresentation) {
  MovieTrack video = captionedPictures(captions::kH264Rules, 2);
  MovieBuilder movie({video});
  expectBothFields(movie);
}

TEST_F(Captions, ComeWhenTheEditListShowsThem) {
  const std::uint64_t second = 30 * kTick;
  for (MovieTrack track : {captionsByFrame(), captionedPictures(captions::kH264Rules)}) {
    MovieBuilder movie({track});
    movie.timescale = 30000;
    movie.tracks[0].edits = {{2 * second, kEmptyEdit}, {7 * second, second}};
    EXPECT_EQ(read(movie),
              "1\n00:00:02,302 --> 00:00:04,338\nHIA.\n\n"
              "2\n00:00:06,340 --> 00:00:08,008\nOne more\n");
  }
}

TEST_F(Captions, OfAnSccFileAreConverted) {
  const std::string file = write("film.scc", text(kField1));
  const ProgramResult result = run({file});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kSrt1);
  EXPECT_EQ(result.err, "quarrypack-captions: '" + file +
                            "': line 7: a control code is sent once, not twice.\n");
  EXPECT_EQ(run({file, "--format", "scc"}).out, kField1);
  EXPECT_EQ(read(text(kField2), {"--format", "scc"}, "film.scc"), kField2);
  EXPECT_EQ(run({write("captions.txt", text(kField1))}).out, kSrt1) << "told by its first line";
}

TEST_F(Captions, OfAnSccFileMayHaveAnOffsetAndARate) {
  const std::string file = write("a.scc", text("Scenarist_SCC V1.0\r\n\r\n01:00:01:12\t9420 9420 "
                                               "9470 9470 4f6e 942f 942f\r\n\r\n"
                                               "01:00:03:00\t942c 942c\r\n"));
  const ProgramResult result = run({file, "--scc-offset", "auto", "--scc-rate", "25"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.substr(0, 34), "1\n00:00:01,647 --> 00:00:03,000\nOn");
}

TEST_F(Captions, ComeFromTheTrackUnlessThePicturesAreAskedFor) {
  const MovieBuilder movie(
      {captionedPictures(captions::kH264Rules), captionTrack({.samples = {cdat({0x94, 0x2C})}})});
  const std::string file = write("film.mov", movie.build());
  EXPECT_EQ(run({file}).status, 3);
  EXPECT_EQ(run({file, "--source", "track"}).status, 3);
  EXPECT_EQ(run({file, "--source", "pictures"}).out, kSrt1);
}

// ---- Round trips

TEST_F(Captions, ThatWereConvertedAreThosePutIn) {
  const std::string movie =
      write("film.mov", MovieBuilder({pictures(), captionsByFrame()}).build());
  ASSERT_EQ(runProgram({"--input-file", movie, "--output-file", path("film.mp4")}).status, 0);
  const Bytes converted = readFile(path("film.mp4"));
  EXPECT_EQ(read(converted, {"--format", "scc"}, "film.mp4"), kField1);
  EXPECT_EQ(read(converted, {"--format", "scc", "--channel", "CC3"}, "film.mp4"), kField2);
}

// ---- What is written

TEST_F(Captions, AreWrittenAsJson) {
  const std::string json =
      read(MovieBuilder({captionsByFrame()}), {"--format", "json", "--channel", "all"});
  EXPECT_EQ(json.substr(0, json.find(",\"source\"")), "{\"file\":\"" + path("film.mov") + "\"");
  EXPECT_NE(json.find("\"source\":\"track\""), std::string::npos);
  EXPECT_NE(json.find("\"channel\":\"CC1\",\"mode\":\"pop-on\""), std::string::npos);
  EXPECT_NE(json.find("\"channel\":\"CC3\",\"mode\":\"roll-up\""), std::string::npos);
  EXPECT_NE(json.find("\"start\":1.301,\"end\":3.337"), std::string::npos);
}

TEST_F(Captions, AreWrittenAsWebVtt) {
  const std::string vtt = read(MovieBuilder({captionsByFrame()}), {"--format", "vtt"});
  EXPECT_EQ(vtt.substr(0, 6), "WEBVTT");
  EXPECT_NE(vtt.find("00:00:01.301 --> 00:00:03.337"), std::string::npos);
}

TEST_F(Captions, OfRollUpAreToldOnceOrByTheScreen) {
  const MovieBuilder movie({captionsByFrame()});
  EXPECT_EQ(read(movie, {"--channel", "CC3"}),
            "1\n00:00:01,335 --> 00:00:03,136\nTwo\n\n"
            "2\n00:00:03,136 --> 00:00:05,005\nrows\n");
  EXPECT_EQ(read(movie, {"--channel", "CC3", "--rollup", "screen"}),
            "1\n00:00:01,335 --> 00:00:03,136\nTwo\n\n"
            "2\n00:00:03,136 --> 00:00:05,005\nTwo\nrows\n");
}

TEST_F(Captions, GoToTheFileThatIsNamed) {
  const std::string movie = write("film.mov", MovieBuilder({captionsByFrame()}).build());
  write("film.srt", text("old"));
  const ProgramResult result = run({movie, "--output-file", path("film.srt")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(readFile(path("film.srt")), text(kSrt1));
  EXPECT_EQ(run({movie, "--output-file", path("film.scc")}).status, 0);
  EXPECT_EQ(readFile(path("film.scc")), text(kField1));
  EXPECT_EQ(names(), (std::vector<std::string>{"film.mov", "film.scc", "film.srt"}));
}

TEST_F(Captions, OfAllChannelsGoToAFileForEach) {
  const std::string movie = write("film.mov", MovieBuilder({captionsByFrame()}).build());
  EXPECT_EQ(run({movie, "--channel", "all", "--output-file", path("a.scc")}).status, 0);
  EXPECT_EQ(names(), (std::vector<std::string>{"a.CC1.scc", "a.CC3.scc", "film.mov"}));
  EXPECT_EQ(readFile(path("a.CC1.scc")), text(kField1));
  EXPECT_EQ(readFile(path("a.CC3.scc")), text(kField2));
}

TEST_F(Captions, NeverReplaceTheirInput) {
  const Bytes file = text(kField1);
  const std::string input = write("film.scc", file);
  std::filesystem::create_symlink(input, path("link.srt"));
  for (const std::string& output : {input, path("link.srt")}) {
    const ProgramResult result = run({input, "--output-file", output, "--format", "srt"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("is the file that is read"), std::string::npos);
  }
  EXPECT_EQ(readFile(input), file);
  EXPECT_EQ(names(), (std::vector<std::string>{"film.scc", "link.srt"}));
}

// ---- Statuses

TEST_F(Captions, HaveAProgramThatShowsItsOptionsAndVersion) {
  const ProgramResult help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.err, "");
  EXPECT_EQ(help.out.substr(0, 43), "Usage: quarrypack-captions [options] FILE\n\n");
  const ProgramResult version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.substr(0, 20), "quarrypack-captions ");
}

TEST_F(Captions, NeedACommandLineThatIsUnderstood) {
  const std::string scc = write("film.scc", text(kField1));
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {scc, scc},
      {scc, "--format", "txt"},
      {scc, "--channel", "all"},
      {scc, "--nothing"},
      {scc, "--source", "track"},
  };
  for (const std::vector<std::string>& words : wrong) {
    const ProgramResult result = run(words);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.substr(0, 21), "quarrypack-captions: ");
  }
  ProgramOptions nameless;
  nameless.noArgumentWords = true;
  EXPECT_EQ(run({}, nameless).status, 2);
}

TEST_F(Captions, AreNotMadeOfFilesThatCannotBeRead) {
  Bytes cut = MovieBuilder({captionsByFrame()}).moovFirst().build();
  cut.resize(cut.size() - 100);
  const std::vector<std::string> files = {path("missing.mov"),
                                          path(""),
                                          write("text.txt", text("no movie")),
                                          write("empty.scc", {}),
                                          write("film.mov", cut),
                                          write("cut.scc", text("Scenarist_SCC V1.0\r\n"))};
  for (const std::string& file : files) {
    const ProgramResult result = run({file, "--output-file", path("out.srt")});
    EXPECT_EQ(result.status, 1) << file;
    EXPECT_EQ(result.err.find("quarrypack-captions: '" + file + "': "), 0u) << result.err;
    EXPECT_FALSE(std::filesystem::exists(path("out.srt"))) << file;
  }
}

TEST_F(Captions, AreMissedWithAStatusOfTheirOwn) {
  const std::string movie =
      write("film.mov", MovieBuilder({pictures(), captionsByFrame()}).build());
  const std::string silent = write("silent.mov", MovieBuilder({soundTrack()}).build());
  write("out.srt", text("old"));
  const std::vector<std::vector<std::string>> runs = {{movie, "--channel", "CC2"},
                                                      {movie, "--source", "pictures"},
                                                      {silent},
                                                      {silent, "--source", "track"},
                                                      {silent, "--source", "pictures"}};
  for (std::vector<std::string> words : runs) {
    words.insert(words.end(), {"--output-file", path("out.srt")});
    const ProgramResult result = run(words);
    EXPECT_EQ(result.status, 3) << words[0];
    EXPECT_NE(result.err.find("there are no captions"), std::string::npos);
    EXPECT_EQ(readFile(path("out.srt")), text("old"));
  }
}

TEST_F(Captions, OfAnUnusualFileAreReadWithFindings) {
  const std::string file =
      write("film.scc", text("Scenarist_SCC V1.0\n\n00:00:01;00 9420 9470 C849 942f\n"));
  const ProgramResult result = run({file});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("HI\n"), std::string::npos);
  EXPECT_NE(result.err.find("': line 1: a line ends without a carriage return"), std::string::npos);
  EXPECT_NE(result.err.find("': line 3: a word has capital letters"), std::string::npos);
}

TEST_F(Captions, FailWhereTheyCannotBeWritten) {
  const std::string file = write("film.scc", text(kField1));
  EXPECT_EQ(run({file, "--output-file", path("none/film.srt")}).status, 1);
  EXPECT_EQ(run({file, "--output-file", "/dev/full"}).status, 1);
  ProgramOptions closed;
  closed.closedDescriptors = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
  EXPECT_EQ(run({file, "--output-file", path("film.srt")}, closed).status, 0);
  EXPECT_EQ(readFile(path("film.srt")), text(kSrt1));
  std::filesystem::remove(path("film.srt"));
  EXPECT_EQ(names(), (std::vector<std::string>{"film.scc"}));
}

// ---- Hostile movies

TEST_F(Captions, OfSamplesThatOverlapEndlesslyAreRefused) {
  // A million samples, all of them the whole media data.
  MovieTrack track = captionTrack({.samples = {cdat(Bytes(4000, 0x80))}});
  MovieBuilder movie({track});
  movie.replace("moov/trak[1]/mdia/minf/stbl/stsz", fullBox("stsz", 0, 0, u32(4008), u32(1000000)));
  movie.replace("moov/trak[1]/mdia/minf/stbl/stts",
                fullBox("stts", 0, 0, u32(1), u32(1000000), u32(1)));
  movie.replace("moov/trak[1]/mdia/minf/stbl/stsc",
                fullBox("stsc", 0, 0, u32(1), u32(1), u32(1), u32(1)));
  const std::uint32_t offset = 100;
  movie.replace(
      "moov/trak[1]/mdia/minf/stbl/stco",
      fullBox("stco", 0, 0, u32(1000000), u32List(std::vector<std::uint32_t>(1000000, offset))));
  const ProgramResult result = run({write("film.mov", movie.build())});
  EXPECT_EQ(result.status, 1);
  EXPECT_FALSE(result.timedOut);
  EXPECT_NE(result.err.find("samples overlap"), std::string::npos) << result.err;
}

TEST_F(Captions, OfEditsThatRepeatEndlesslyAreRefused) {
  MovieTrack track = captionsByFrame();
  track.edits = std::vector<MovieEdit>(200000, {1000, 0});
  const ProgramResult result = run({write("film.mov", MovieBuilder({track}).build())});
  EXPECT_EQ(result.status, 1);
  EXPECT_FALSE(result.timedOut);
  EXPECT_NE(result.err.find("edits repeat"), std::string::npos) << result.err;
}

TEST_F(Captions, LeaveNothingOfAFileThatCannotBeWritten) {
  const std::string movie = write("film.mov", MovieBuilder({captionsByFrame()}).build());
  ProgramOptions options;
  options.largestFile = 20;
  const ProgramResult result = run({movie, "--output-file", path("film.srt")}, options);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "quarrypack-captions: cannot write to '" + path("film.srt") + "': File too large.\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"film.mov"}));
}

TEST_F(Captions, SayWhyStandardOutputCannotBeWritten) {
  if (!std::filesystem::is_character_file("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  ProgramOptions options;
  options.program = "/bin/sh";
  options.programName = "sh";
  const ProgramResult result =
      runProgram({"-c", "exec \"$0\" \"$1\" >/dev/full", QUARRYPACK_CAPTIONS_PROGRAM,
                  write("film.mov", MovieBuilder({captionsByFrame()}).build())},
                 options);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "quarrypack-captions: cannot write to standard output: No space left on device.\n");
}

}  // namespace
}  // namespace quarrypack::test
