#include "kav/impl/model/record_box.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"
#include "tests/support/memory_stream.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

struct PairRecord {
  std::uint32_t first = 0;
  std::uint16_t second = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.first);
    fields.u16(self.second);
  }
};
static_assert(plainBoxSize<PairRecord>() == 14);

class PairBox final : public RecordBox<PairRecord, Plain> {
 public:
  using RecordBox::RecordBox;
};

// What the factory hands to the class of a box that begins a file.
BoxHeader headerOf(const Bytes& file) {
  BoxHeader header;
  header.type = fourCc("pair");
  header.size = header.end = file.size();
  return header;
}

TEST(PlainRecordBox, ReadsLiteralBytes) {
  const Bytes file = {0, 0, 0, 14, 'p', 'a', 'i', 'r', 1, 2, 3, 4, 5, 6};
  NorvikKavIStream stream(MemoryStream::create(file));
  PairBox box(headerOf(file), stream);
  stream.seekTo(box.contentStart());
  box.readContent();
  EXPECT_EQ(box.record().first, 0x01020304u);
  EXPECT_EQ(box.record().second, 0x0506u);
  EXPECT_EQ(box.ownLength(), 14u);
}

TEST(PlainRecordBox, RefusesEveryShorterLength) {
  const Bytes file = {0, 0, 0, 14, 'p', 'a', 'i', 'r', 1, 2, 3, 4, 5, 6};
  for (std::size_t length = 8; length < file.size(); ++length) {
    NorvikKavIStream stream(MemoryStream::create(file));
    PairBox box(headerOf({file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)}),
                stream);
    stream.seekTo(box.contentStart());
    EXPECT_CODE(truncatedBox, box.readContent()) << length;
  }
}

TEST(PlainRecordBox, KeepsItsFixedPartOnly) {
  const Bytes file(30);
  NorvikKavIStream stream(MemoryStream::create(file));
  EXPECT_EQ(PairBox(headerOf(file), stream, KeepsFixedPartOnly{}).ownLength(), 14u);
}

TEST(PlainRecordBox, WritesLiteralBytes) {
  const MemoryStreamPtr memory = MemoryStream::create();
  NorvikKavIOStream stream(memory);
  PairBox box(fourCc("pair"), stream, PairRecord{0x01020304, 0x0506});
  EXPECT_EQ(box.write(), 14u);
  EXPECT_EQ(memory->bytes(), (Bytes{0, 0, 0, 14, 'p', 'a', 'i', 'r', 1, 2, 3, 4, 5, 6}));
  box.record().second = 7;
  box.write();
  EXPECT_EQ(memory->bytes(), (Bytes{0, 0, 0, 14, 'p', 'a', 'i', 'r', 1, 2, 3, 4, 0, 7}));
}

TEST(PlainRecordBox, DropsTheUuidFormWhenItIsWritten) {
  const MemoryStreamPtr memory = MemoryStream::create(Bytes(30));
  NorvikKavIOStream stream(memory);
  BoxHeader header = headerOf(memory->bytes());
  header.extendedType = ExtendedType{};
  PairBox box(header, stream, KeepsFixedPartOnly{});
  EXPECT_EQ(box.write(), 14u);
}

}  // namespace
}  // namespace norvik::kav::impl
