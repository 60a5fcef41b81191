#include "config/config_exceptions.h"

#include <gtest/gtest.h>

#include <exception>
#include <type_traits>

namespace orx::config {
namespace {

TEST(ConfigExceptions, CarryTheirMessages) {
  EXPECT_EQ(BadFileException().message(), "Bad XML File");
  EXPECT_EQ(FileDoesNotExistException().message(), "File does not exist");
  EXPECT_EQ(NoDataException().message(), "No data in this Node");
}

TEST(ConfigExceptions, ShareABaseThatIsNoStandardException) {
  EXPECT_THROW(throw BadFileException(), ConfigException);
  EXPECT_THROW(throw FileDoesNotExistException(), ConfigException);
  EXPECT_THROW(throw NoDataException(), ConfigException);
  EXPECT_FALSE((std::is_base_of_v<std::exception, ConfigException>));
}

}  // namespace
}  // namespace orx::config
