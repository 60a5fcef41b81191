#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/bytes/field_layout.h"
#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// The version in which a class always writes its box, whatever version was read.
template <std::uint8_t kVersion>
struct WrittenVersion {
  static constexpr std::uint8_t value = kVersion;
};

// Lets a box that was read claim its fixed part only, so that bytes behind it are read as children.
struct KeepsFixedPartOnly {};

// A full box whose payload is a record and nothing else. The class of a box adds constructors.
template <class Record, class Written>
class RecordBox : public FullBox {
 public:
  static constexpr LayoutForm kWrittenForm{Written::value, 0};

  RecordBox(BoxHeader header, NorvikKavStream& stream) : FullBox(std::move(header), stream) {}
  RecordBox(BoxHeader header, NorvikKavStream& stream, KeepsFixedPartOnly)
      : FullBox(std::move(header), stream) {
    setLengths(headerLength() + 4 + recordSize<Record>(kWrittenForm));
  }
  RecordBox(FourCc type, NorvikKavStream& stream, std::uint32_t flags, const Record& record)
      : FullBox(type, stream, Written::value, flags), record_(record) {
    setLengths(kFullBoxHeaderSize + recordSize<Record>(LayoutForm{Written::value, flags}));
  }

  const Record& record() const { return record_; }
  Record& record() { return record_; }

  void readContent() override {
    const LayoutForm form{version(), flags()};
    const std::size_t needed = recordSize<Record>(form);
    if (bytesLeft() < needed) throw Exception(ErrorCode::truncatedBox);
    Buffer buffer;
    stream().readFully(buffer.data(), needed);
    FieldReader reader(std::span<const std::uint8_t>(buffer).first(needed), form);
    Record::layout(reader, record_);
  }

  void writeContent() override {
    const LayoutForm form = writtenForm();
    Buffer buffer;
    const std::span<std::uint8_t> bytes = std::span(buffer).first(recordSize<Record>(form));
    FieldWriter writer(bytes, form);
    Record::layout(writer, record_);
    writeAt(contentStart(), bytes);
  }

  // The fields of a header are brought up to date by writing them again.
  void updateContent() override { writeContent(); }

 protected:
  // A box that was read in another version takes up the room of the written one from here on.
  bool takeWrittenForm() override {
    const bool changed = FullBox::takeWrittenForm();
    if (!isFromFile() || version() == Written::value) return changed;
    setVersion(Written::value);
    setLengths(headerLength() + 4 + recordSize<Record>(writtenForm()));
    return true;
  }

 private:
  LayoutForm writtenForm() const { return {Written::value, flags()}; }

  // No record grows when a field is left out, so all flags in the wide form is the longest.
  using Buffer = std::array<std::uint8_t, recordSize<Record>(LayoutForm{1, 0xFFFFFF})>;

  Record record_;
};

}  // namespace norvik::kav::impl
