#include "companions/scc_options.h"

#include <boost/program_options/value_semantic.hpp>
#include <string>

#include "companions/command_line.h"

namespace quarrypack::companions {

namespace po = boost::program_options;

namespace {

constexpr const char* kOffset = "scc-offset";
constexpr const char* kRate = "scc-rate";

std::string rateNames() {
  std::string names;
  for (const captions::FrameRate& rate : captions::frameRates()) {
    names.append(names.empty() ? "" : ", ").append(rate.name);
  }
  return names;
}

}  // namespace

void addSccOptions(po::options_description& options) {
  // clang-format off
  options.add_options()
    (kOffset, po::value<std::string>()->value_name("TIMECODE|auto"),
     "the time code of an SCC file that is time 0 (default: 00:00:00:00); auto: the whole hours of "
     "its first line")
    (kRate, po::value<std::string>()->value_name("RATE"),
     "the frame rate of its time codes (default: 29.97); ';' before the frames means drop frame");
  // clang-format on
}

bool hasSccOptions(const po::variables_map& values) {
  return values.count(kOffset) > 0 || values.count(kRate) > 0;
}

captions::SccOptions sccOptionsOf(const po::variables_map& values) {
  captions::SccOptions scc;
  if (const std::string offset = textOf(values, kOffset); !offset.empty()) {
    const auto parsed = captions::parseSccOffset(offset);
    if (!parsed) failOnValue(kOffset, offset, "a time code or 'auto'");
    scc.offset = *parsed;
  }
  if (const std::string rate = textOf(values, kRate); !rate.empty()) {
    scc.rate = captions::findFrameRate(rate);
    if (scc.rate == nullptr) failOnValue(kRate, rate, rateNames());
  }
  return scc;
}

}  // namespace quarrypack::companions
