#include "config/config_document.h"

#include "config/config_exceptions.h"
#include "tests/support/run_program.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace orx::config {
namespace {

class ConfigDocumentTest : public testing::Test {
 protected:
  CurrentNode load(const std::string& content) {
    std::ofstream(file_, std::ios::binary) << content;
    CurrentNode root;
    ConfigDocument::load(root, file_);
    return root;
  }

  // What the holder refers to after content that is not well-formed.
  CurrentNode leftBy(const std::string& content) {
    std::ofstream(file_, std::ios::binary) << content;
    CurrentNode current;
    EXPECT_THROW(ConfigDocument::load(current, file_), BadFileException) << content;
    return current;
  }

  // The text of the root's child "v", or a mark if it has none.
  std::string valueIn(const std::string& content) {
    return getDataOr(load(content)->findChild("v"), "<none>");
  }

  quarrypack::test::TemporaryFolder folder_;
  std::string file_ = (folder_.path() / "config.xml").string();
};

// A document in which byte number `offset` lies between the two parts of the value.
std::string splitAt(std::size_t offset, const std::string& before, const std::string& after) {
  const std::string head = "<c><!--";
  const std::string start = "--><v>" + before;
  return head + std::string(offset - head.size() - start.size(), 'x') + start + after + "</v></c>";
}

std::string ofSize(std::size_t size) {
  const std::string document = "<c><v>value</v></c>";
  return document + std::string(size - document.size(), '\n');
}

TEST_F(ConfigDocumentTest, FillsTheHolderWithTheRoot) {
  const auto root = load("<?xml version=\"1.0\"?>\n<settings a='1'>\n<v>text</v><w/></settings>\n");
  ASSERT_TRUE(root);
  EXPECT_EQ(root->name, "settings");
  EXPECT_EQ(root->parent, nullptr);
  EXPECT_EQ(root->attributes.at(0)->getData(), "1");
  EXPECT_EQ(root->children.size(), 2u);
  EXPECT_EQ(root->findChild("v")->getData(), "text");
}

TEST_F(ConfigDocumentTest, ThrowsForAMissingFile) {
  CurrentNode root;
  EXPECT_THROW(ConfigDocument::load(root, file_), FileDoesNotExistException);
  EXPECT_FALSE(root);
}

TEST_F(ConfigDocumentTest, LeavesTheHolderEmptyForAFileThatCannotBeOpened) {
  // A socket exists in the file system, but no user can open it, whatever the permissions.
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(file_.size(), sizeof(address.sun_path));
  file_.copy(address.sun_path, file_.size());
  ASSERT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);

  CurrentNode root;
  EXPECT_NO_THROW(ConfigDocument::load(root, file_));
  EXPECT_FALSE(root);
  ::close(descriptor);
}

TEST_F(ConfigDocumentTest, ReadsAPipeToItsEnd) {
  ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
  // Pieces that fill no block, and more than one block of them.
  std::thread writer([this] {
    std::ofstream pipe(file_, std::ios::binary);
    pipe << "<c>" << std::flush;
    for (int i = 0; i < 300; ++i) pipe << "<x>some</x>" << std::flush;
    pipe << "<v>value</v></c>";
  });
  CurrentNode root;
  EXPECT_NO_THROW(ConfigDocument::load(root, file_));
  writer.join();
  ASSERT_TRUE(root);
  EXPECT_EQ(root->children.size(), 301u);
  EXPECT_EQ(getDataOr(root->findChild("v"), ""), "value");
}

TEST_F(ConfigDocumentTest, RefusesAFolder) {
  CurrentNode root;
  EXPECT_THROW(ConfigDocument::load(root, folder_.path().string()), BadFileException);
}

TEST_F(ConfigDocumentTest, RefusesWhatIsNotWellFormed) {
  const std::string broken[] = {
      "<c><v>value</w></c>",
      "<c><v>value</v>",
      "<c/><c/>",
      "<c>&undefined;</c>",
      "text",
      "<c>\xff</c>",
      "<c>a&b</c>",
      std::string("<c>\0</c>", 8),
      "<c a='1' a='2'/>",
      "<c></c>text",
      "<c><v></c></v>",
  };
  for (const std::string& content : broken) {
    EXPECT_THROW(load(content), BadFileException) << content;
  }
}

TEST_F(ConfigDocumentTest, LeavesThePartlyBuiltTreeOfWhatIsNotWellFormed) {
  const CurrentNode open = leftBy("<c a='1'><v>value</v>text<w>more<x/>");
  ASSERT_TRUE(open);
  EXPECT_EQ(open->name, "w");
  EXPECT_EQ(open->getData(), "more");
  EXPECT_EQ(open->findChild("x")->parent, open.get());
  ASSERT_NE(open->parent, nullptr);
  EXPECT_EQ(open->parent->name, "c");
  EXPECT_EQ(open->parent->getData(), "text");
  EXPECT_EQ(open->parent->attributes.at(0)->getData(), "1");
  EXPECT_EQ(open->parent->findChild("v")->getData(), "value");
  EXPECT_EQ(open->parent->findChild("w"), nullptr) << "its end tag has not come";
  EXPECT_EQ(open->parent->parent, nullptr);

  EXPECT_EQ(leftBy("<c><v>value</w></c>")->name, "v");
  EXPECT_EQ(leftBy("<c><v>value</v></c><d/>")->findChild("v")->getData(), "value");
  EXPECT_FALSE(leftBy("no element"));
}

TEST_F(ConfigDocumentTest, RefusesAnEmptyFileAndOneThatIsOnlyADeclaration) {
  EXPECT_THROW(load(""), BadFileException);
  EXPECT_THROW(load("<?xml version=\"1.0\"?>"), BadFileException);
  EXPECT_THROW(load(" \n "), BadFileException);
}

TEST_F(ConfigDocumentTest, RefusesEntitiesThatGrowWithoutEnd) {
  std::string bomb = "<!DOCTYPE c [<!ENTITY a0 \"lollollollollol\">";
  for (int i = 1; i < 12; ++i) {
    bomb += "<!ENTITY a" + std::to_string(i) + " \"";
    for (int repeat = 0; repeat < 10; ++repeat) bomb += "&a" + std::to_string(i - 1) + ";";
    bomb += "\">";
  }
  EXPECT_THROW(load(bomb + "]><c>&a11;</c>"), BadFileException);
}

TEST_F(ConfigDocumentTest, GivesNoDataToAnElementOfWhiteSpace) {
  const auto root = load("<c><v> \t\r\n </v></c>");
  ASSERT_NE(root->findChild("v"), nullptr);
  EXPECT_THROW(root->findChild("v")->getData(), NoDataException);
  EXPECT_EQ(getDataOr(root->findChild("v"), "fallback"), "fallback");
}

TEST_F(ConfigDocumentTest, LosesTheSpacesAroundAnEntityReference) {
  EXPECT_EQ(valueIn("<c><v>a &amp; b</v></c>"), "a&b");
}

TEST_F(ConfigDocumentTest, JoinsLinesWithoutTheirLineBreak) {
  EXPECT_EQ(valueIn("<c><v>\n  one two\n  three\r\n</v></c>"), "one twothree");
}

TEST_F(ConfigDocumentTest, GivesTextBetweenChildrenToTheParent) {
  const auto root = load("<c> before <v>inside</v> after </c>");
  EXPECT_EQ(root->getData(), "beforeafter");
  EXPECT_EQ(root->findChild("v")->getData(), "inside");
}

TEST_F(ConfigDocumentTest, FindsTheChildWhoseEndTagCameFirst) {
  EXPECT_EQ(valueIn("<c><v>first</v><v>second</v></c>"), "first");
}

TEST_F(ConfigDocumentTest, ReturnsTextsOfAnyEncodingInUtf8) {
  EXPECT_EQ(valueIn("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><c><v>\xe9</v></c>"),
            "\xc3\xa9");
  EXPECT_EQ(valueIn("\xef\xbb\xbf<c><v>\xc3\xa9</v></c>"), "\xc3\xa9");
}

TEST_F(ConfigDocumentTest, ReadsFilesThatFillTheirLastBlock) {
  for (const std::size_t size : {1023u, 1024u, 1025u, 2047u, 2048u, 2049u}) {
    EXPECT_EQ(valueIn(ofSize(size)), "value") << size;
  }
}

TEST_F(ConfigDocumentTest, RefusesAnUnfinishedFileThatFillsItsLastBlock) {
  const std::string start = "<c><v>";
  EXPECT_THROW(load(start + std::string(1024 - start.size(), 'x')), BadFileException);
}

TEST_F(ConfigDocumentTest, TrimsWhereTwoBlocksMeet) {
  EXPECT_EQ(valueIn(splitAt(1024, "one", "two")), "onetwo");
  EXPECT_EQ(valueIn(splitAt(1024, "one ", "two")), "onetwo");
  EXPECT_EQ(valueIn(splitAt(1024, "one", " two")), "onetwo");
  EXPECT_EQ(valueIn(splitAt(1024, "one t", "wo")), "one two");
  EXPECT_EQ(valueIn(splitAt(1024, "one &am", "p; two")), "one&two");
}

TEST_F(ConfigDocumentTest, TakesAnyDepth) {
  std::string content = "<c><v>value</v>";
  for (int i = 0; i < 400000; ++i) content += "<x>";
  std::string unclosed = content;
  for (int i = 0; i < 400000; ++i) content += "</x>";
  EXPECT_EQ(valueIn(content + "</c>"), "value");
  EXPECT_THROW(load(unclosed), BadFileException);
}

}  // namespace
}  // namespace orx::config
