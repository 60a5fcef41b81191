// Writes reports for the browser, with all that a page can show, and their captions as JSON.
//
//     write_reports FOLDER    writes rich, empty and long, each as .html and .json

#include <fstream>
#include <iostream>
#include <string>

#include "captions/formats/json.h"
#include "companions/check/html/html_report.h"

namespace {

using namespace quarrypack;
using captions::CaptionMode;
using captions::Channel;
using captions::Color;
using captions::Cue;
using captions::Time;
using check::CheckReport;
using check::Rule;
using check::Severity;

constexpr Time at(double seconds) {
  return std::chrono::duration_cast<Time>(std::chrono::duration<double>(seconds));
}

constexpr Rule kParity{"parity-error", Severity::error,
                       "A byte was damaged on its way. Viewers see a solid block in its place.",
                       "Look for the device that damages the captions, and encode them again."};
constexpr Rule kShort{"shown-too-briefly", Severity::warning,
                      "A caption is on the screen for less than 5/6 of a second.",
                      "Give it more time, or join it with its neighbour."};
constexpr Rule kGap{"gap-too-short", Severity::warning,
                    "Less than two frames are between two captions, so the change is missed.",
                    "Let the first caption end earlier, or let it last until the next."};
constexpr Rule kHit{"hits-other-track", Severity::error,
                    "A conversion would put captions into samples of another track.",
                    "Use quarrypack-embed."};
constexpr Rule kChannels{"channels", Severity::info, "Two channels are in use.", ""};

const char* const kHostileName =
    "films/<img src=x onerror=alert(1)> & \"quoted\" 'film' \xFF\x01\n\xE2\x80\xAE.mov";

Cue colourfulCue() {
  return {at(1.5),
          at(4.045),
          CaptionMode::popOn,
          {{1, 0, {{"Top row: <b>no markup</b> & é ♪", Color::white, false, false}}},
           {13, 4, {{"white ", Color::white, false, false}, {"green", Color::green, false, false}}},
           {14,
            2,
            {{"blue", Color::blue, true, false},
             {" ", Color::white, false, false},
             {"cyan", Color::cyan, false, true},
             {" and ", Color::white, false, false},
             {"red", Color::red, true, true}}},
           {15,
            0,
            {{"yellow", Color::yellow, false, false},
             {" magenta", Color::magenta, false, false},
             {" black", Color::black, false, false},
             {" ends here █", Color::white, true, false}}}}};
}

std::vector<Cue> plainCues(int count, double first, double every, double duration) {
  std::vector<Cue> cues;
  for (int i = 0; i < count; ++i) {
    const double start = first + i * every;
    cues.push_back(
        {at(start),
         at(start + duration),
         CaptionMode::popOn,
         {{14, 6, {{"This is the caption", Color::white, false, false}}},
          {15, 8, {{"with number " + std::to_string(i), Color::white, i % 5 == 0, false}}}}});
  }
  return cues;
}

std::vector<Cue> rolledCues(int count) {
  std::vector<Cue> cues;
  for (int i = 0; i < count; ++i) {
    cues.push_back(
        {at(2.0 * i + 0.5),
         at(2.0 * i + 2.5),
         CaptionMode::rollUp,
         {{15, 0, {{">> ROLLING LINE " + std::to_string(i), Color::white, false, false}}}}});
  }
  return cues;
}

CheckReport richReport() {
  CheckReport report;
  report.file = kHostileName;
  report.source = "track";
  report.duration = at(120);
  report.pictures = 2880;
  std::vector<Cue> cues = {colourfulCue()};
  for (Cue& cue : plainCues(70, 8, 1.55, 1.2)) cues.push_back(std::move(cue));
  report.channels = {{Channel::cc1, std::move(cues)}, {Channel::cc3, rolledCues(9)}};
  report.coverage = {at(0.5), check::Stretch{at(4.045), at(8)}, 0.723};
  report.hits = {{2, "sound", 3, {at(8), at(40.2), at(40.4)}}, {3, "'t<m>'", 1, {at(90)}}};
  report.findings = {{&kHit, 4, at(8), {at(8), at(40.2), at(40.4), at(90)}, "tracks 2 and 3"},
                     {&kParity, 21, at(12.3), {at(12.3), at(60)}, ""},
                     {&kGap, 2, at(20), {at(20), at(20.1)}, ""},
                     {&kShort, 1, at(100), {at(100)}, "<script>alert(1)</script>"},
                     {&kChannels, 1, std::nullopt, {}, ""}};
  return report;
}

CheckReport longReport() {
  CheckReport report;
  report.file = "long.mp4";
  report.source = "pictures";
  report.duration = at(7200);
  report.pictures = 172'800;
  report.channels = {{Channel::cc1, plainCues(3000, 10, 2.39, 2)}};
  report.coverage = {at(10), check::Stretch{at(7178), at(7200)}, 0.83};
  return report;
}

void write(const std::string& path, const CheckReport& report) {
  std::ofstream page(path + ".html", std::ios::binary);
  companions::writeHtml(report, page);
  std::ofstream json(path + ".json", std::ios::binary);
  captions::writeJson(report.file, report.source, report.channels, json);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: write_reports FOLDER\n";
    return 2;
  }
  const std::string folder = std::string(argv[1]) + '/';
  write(folder + "rich", richReport());
  write(folder + "empty", {});
  write(folder + "long", longReport());
}
