#pragma once

#include <array>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "kav/exception.h"
#include "kav/impl/bytes/field_layout.h"
#include "kav/impl/model/box.h"

namespace norvik::kav::impl {

// Lets a box that was read claim only its fixed part, so that bytes past it are read as children.
struct KeepsFixedPartOnly {};

// A box whose payload is only a record. The class of a box adds constructors. Kind is Plain, or
// Full<version> for a box that begins with version and flags.
template <class Record, class Kind>
class RecordBox : public std::conditional_t<Kind::kIsFull, FullBox, Box> {
  using Base = std::conditional_t<Kind::kIsFull, FullBox, Box>;

 public:
  RecordBox(BoxHeader header, NorvikKavStream& stream) : Base(std::move(header), stream) {}
  RecordBox(BoxHeader header, NorvikKavStream& stream, KeepsFixedPartOnly)
      : Base(std::move(header), stream) {
    this->setLengths(headerLength() + kVersionAndFlags +
                     recordSize<Record>(LayoutForm{Kind::kVersion, 0}));
  }
  RecordBox(FourCc type, NorvikKavStream& stream, std::uint32_t flags,
            const Record& record) requires(Kind::kIsFull)
      : Base(type, stream, Kind::kVersion, flags), record_(record) {
    this->setLengths(fullBoxSize<Record>(LayoutForm{Kind::kVersion, flags}));
  }
  RecordBox(FourCc type, NorvikKavStream& stream, const Record& record) requires(!Kind::kIsFull)
      : Base(type, stream), record_(record) {
    this->setLengths(plainBoxSize<Record>());
  }

  using Base::contentStart;
  using Base::headerLength;
  using Base::isFromFile;

  const Record& record() const { return record_; }
  Record& record() { return record_; }

  void readContent() override {
    const LayoutForm form = storedForm();
    const std::size_t needed = recordSize<Record>(form);
    if (this->bytesLeft() < needed) throw Exception(ErrorCode::truncatedBox);
    Buffer buffer;
    this->stream().readFully(buffer.data(), needed);
    FieldReader reader(std::span<const std::uint8_t>(buffer).first(needed), form);
    Record::layout(reader, record_);
  }

  void writeContent() override {
    const LayoutForm form = writtenForm();
    Buffer buffer;
    const std::span<std::uint8_t> bytes = std::span(buffer).first(recordSize<Record>(form));
    encodeRecord(record_, bytes, form);
    this->writeAt(contentStart(), bytes);
  }

  // Rewrites the fields, which brings them up to date.
  void updateContent() override { writeContent(); }

 protected:
  // A box that was read in another version takes the room of the written one from here on.
  bool takeWrittenForm() override {
    const bool changed = Base::takeWrittenForm();
    if constexpr (!Kind::kIsFull) {
      return changed;
    } else {
      if (!isFromFile() || this->version() == Kind::kVersion) return changed;
      this->setVersion(Kind::kVersion);
      this->setLengths(headerLength() + kVersionAndFlags + recordSize<Record>(writtenForm()));
      return true;
    }
  }

 private:
  static constexpr std::uint64_t kVersionAndFlags = Kind::kIsFull ? 4 : 0;

  LayoutForm storedForm() const {
    if constexpr (Kind::kIsFull) return {this->version(), this->flags()};
    return {};
  }
  LayoutForm writtenForm() const { return {Kind::kVersion, storedForm().flags}; }

  // A record never grows when a field is left out, so it is longest with all flags and wide fields.
  using Buffer = std::array<std::uint8_t, recordSize<Record>(LayoutForm{1, 0xFFFFFF})>;

  Record record_;
};

}  // namespace norvik::kav::impl
