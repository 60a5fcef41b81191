#include "companions/scc_options.h"

#include <gtest/gtest.h>

#include <vector>

#include "companions/command_line.h"

namespace quarrypack::companions {
namespace {

boost::program_options::variables_map read(const std::vector<const char*>& words) {
  boost::program_options::options_description options;
  addSccOptions(options);
  return readCommandLine(words, options);
}

captions::SccOptions parsed(const std::vector<const char*>& words) {
  return sccOptionsOf(read(words));
}

TEST(SccOptions, HaveDefaults) {
  EXPECT_FALSE(hasSccOptions(read({})));
  EXPECT_EQ(parsed({}).rate->name, "29.97");
  EXPECT_EQ(parsed({}).offset.code, captions::TimeCode{});
}

TEST(SccOptions, SayHowTimeCodesAreRead) {
  const captions::SccOptions scc = parsed({"--scc-offset", "01:00:00;00", "--scc-rate", "25"});
  EXPECT_EQ(scc.offset.code, (captions::TimeCode{1, 0, 0, 0, true}));
  EXPECT_EQ(scc.rate->name, "25");
  EXPECT_TRUE(parsed({"--scc-offset", "auto"}).offset.wholeHours);
  EXPECT_TRUE(hasSccOptions(read({"--scc-rate", "25"})));
  EXPECT_TRUE(hasSccOptions(read({"--scc-offset", "auto"})));
}

TEST(SccOptions, RefuseOtherValues) {
  EXPECT_THROW(parsed({"--scc-offset", "soon"}), UsageError);
  EXPECT_THROW(parsed({"--scc-offset", ""}), UsageError);
  EXPECT_THROW(parsed({"--scc-rate", "26"}), UsageError);
}

}  // namespace
}  // namespace quarrypack::companions
