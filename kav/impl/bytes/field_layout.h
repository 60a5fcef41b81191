#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "kav/big_endian.h"
#include "kav/date_time.h"

namespace norvik::kav::impl {

// The fields of a box are a plain struct that describes its layout once:
//
//   struct MfhdRecord {
//     std::uint32_t sequenceNumber = 0;
//     template <class Fields, class Self>
//     static constexpr void layout(Fields& fields, Self& self) { fields.u32(self.sequenceNumber); }
//   };
//
// Reading, writing and the size all come from that description, through the three visitors below.
// They share one set of verbs; where reading and writing differ on purpose, the difference is a
// verb of its own, so that it shows in the line of the field.

// The type of a box whose four-character code is uuid.
using ExtendedType = std::array<std::uint8_t, 16>;

using Matrix = std::array<std::uint32_t, 9>;
inline constexpr Matrix kUnityMatrix = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};

// The version and flags that steer a layout.
struct LayoutForm {
  std::uint8_t version = 0;
  std::uint32_t flags = 0;

  constexpr bool isWide() const { return version == 1; }
};

// Fixed-point numbers are floats in memory. A float cannot hold all 32 bits, so a value next to the
// upper end may round to one beyond it; it is held at the end then.
constexpr float floatFromFixed16(std::uint32_t fixed) {
  return static_cast<float>(fixed) / 65536.0F;
}
constexpr std::uint32_t fixed16FromFloat(float value) {
  const double scaled = static_cast<double>(value) * 65536.0 + 0.5;
  if (!(scaled >= 0)) return 0;
  return scaled >= 4294967295.0 ? 0xFFFFFFFFU : static_cast<std::uint32_t>(scaled);
}
constexpr float floatFromFixed8(std::uint16_t fixed) { return static_cast<float>(fixed) / 256.0F; }
constexpr std::uint16_t fixed8FromFloat(float value) {
  const double scaled = static_cast<double>(value) * 256.0 + 0.5;
  if (!(scaled >= 0)) return 0;
  return scaled >= 65535.0 ? std::uint16_t{0xFFFF} : static_cast<std::uint16_t>(scaled);
}

// Decodes the fields of a record from bytes that hold at least what FieldCounter counts.
class FieldReader {
 public:
  constexpr FieldReader(std::span<const std::uint8_t> bytes, LayoutForm form)
      : next_(bytes.data()), form_(form) {}

  constexpr bool has(std::uint32_t flag) const { return (form_.flags & flag) != 0; }
  constexpr LayoutForm form() const { return form_; }

  constexpr void u8(std::uint8_t& field) { field = *take(1); }
  constexpr void u16(std::uint16_t& field) { field = loadU16(take(2)); }
  constexpr void u32(std::uint32_t& field) { field = loadU32(take(4)); }
  constexpr void u64(std::uint64_t& field) { field = loadU64(take(8)); }
  constexpr void i32(std::int32_t& field) { field = static_cast<std::int32_t>(loadU32(take(4))); }
  constexpr void wide(std::uint64_t& field) {
    field = form_.isWide() ? loadU64(take(8)) : loadU32(take(4));
  }
  constexpr void wideSigned(std::int64_t& field) {
    field = form_.isWide() ? static_cast<std::int64_t>(loadU64(take(8)))
                           : static_cast<std::int32_t>(loadU32(take(4)));
  }
  constexpr void u32WrittenAs(std::uint32_t& field, std::uint32_t /*written*/) { u32(field); }
  constexpr void u16WrittenAs(std::uint16_t& field, std::uint16_t /*written*/) { u16(field); }
  void date(NorvikKavDateTime& field) {
    std::uint64_t seconds = 0;
    wide(seconds);
    field = dateTimeFromSeconds(seconds);
  }
  constexpr void fixed16(float& field) { field = floatFromFixed16(loadU32(take(4))); }
  constexpr void fixed8(float& field) { field = floatFromFixed8(loadU16(take(2))); }
  constexpr void matrixWrittenAsUnity(Matrix& field) {
    for (std::uint32_t& word : field) u32(word);
  }
  constexpr void reserved(std::size_t bytes) { take(bytes); }

 private:
  constexpr const std::uint8_t* take(std::size_t bytes) {
    const std::uint8_t* taken = next_;
    next_ += bytes;
    return taken;
  }

  const std::uint8_t* next_;
  LayoutForm form_;
};

// Encodes the fields of a record into a buffer of the length that FieldCounter counts.
class FieldWriter {
 public:
  constexpr FieldWriter(std::span<std::uint8_t> bytes, LayoutForm form)
      : next_(bytes.data()), form_(form) {}

  constexpr bool has(std::uint32_t flag) const { return (form_.flags & flag) != 0; }
  constexpr LayoutForm form() const { return form_; }

  constexpr void u8(const std::uint8_t& field) { *take(1) = field; }
  constexpr void u16(const std::uint16_t& field) { storeU16(take(2), field); }
  constexpr void u32(const std::uint32_t& field) { storeU32(take(4), field); }
  constexpr void u64(const std::uint64_t& field) { storeU64(take(8), field); }
  constexpr void i32(const std::int32_t& field) {
    storeU32(take(4), static_cast<std::uint32_t>(field));
  }
  // A value too large for the narrow form keeps its low 32 bits.
  constexpr void wide(const std::uint64_t& field) {
    if (form_.isWide()) {
      u64(field);
    } else {
      u32(static_cast<std::uint32_t>(field));
    }
  }
  constexpr void wideSigned(const std::int64_t& field) { wide(static_cast<std::uint64_t>(field)); }
  constexpr void u32WrittenAs(const std::uint32_t& /*field*/, std::uint32_t written) {
    u32(written);
  }
  constexpr void u16WrittenAs(const std::uint16_t& /*field*/, std::uint16_t written) {
    u16(written);
  }
  void date(const NorvikKavDateTime& field) { wide(secondsFromDateTime(field)); }
  constexpr void fixed16(const float& field) { u32(fixed16FromFloat(field)); }
  constexpr void fixed8(const float& field) { u16(fixed8FromFloat(field)); }
  constexpr void matrixWrittenAsUnity(const Matrix& /*field*/) {
    for (const std::uint32_t word : kUnityMatrix) u32(word);
  }
  constexpr void reserved(std::size_t bytes) {
    std::uint8_t* target = take(bytes);
    for (std::size_t i = 0; i < bytes; ++i) target[i] = 0;
  }

 private:
  constexpr std::uint8_t* take(std::size_t bytes) {
    std::uint8_t* taken = next_;
    next_ += bytes;
    return taken;
  }

  std::uint8_t* next_;
  LayoutForm form_;
};

// Counts the bytes that a layout takes in a given form.
class FieldCounter {
 public:
  constexpr explicit FieldCounter(LayoutForm form) : form_(form) {}

  constexpr bool has(std::uint32_t flag) const { return (form_.flags & flag) != 0; }
  constexpr LayoutForm form() const { return form_; }
  constexpr std::size_t bytes() const { return bytes_; }

  constexpr void u8(const std::uint8_t&) { bytes_ += 1; }
  constexpr void u16(const std::uint16_t&) { bytes_ += 2; }
  constexpr void u32(const std::uint32_t&) { bytes_ += 4; }
  constexpr void u64(const std::uint64_t&) { bytes_ += 8; }
  constexpr void i32(const std::int32_t&) { bytes_ += 4; }
  constexpr void wide(const std::uint64_t&) { bytes_ += form_.isWide() ? 8 : 4; }
  constexpr void wideSigned(const std::int64_t&) { bytes_ += form_.isWide() ? 8 : 4; }
  constexpr void u32WrittenAs(const std::uint32_t&, std::uint32_t) { bytes_ += 4; }
  constexpr void u16WrittenAs(const std::uint16_t&, std::uint16_t) { bytes_ += 2; }
  constexpr void date(const NorvikKavDateTime&) { bytes_ += form_.isWide() ? 8 : 4; }
  constexpr void fixed16(const float&) { bytes_ += 4; }
  constexpr void fixed8(const float&) { bytes_ += 2; }
  constexpr void matrixWrittenAsUnity(const Matrix&) { bytes_ += 36; }
  constexpr void reserved(std::size_t bytes) { bytes_ += bytes; }

 private:
  LayoutForm form_;
  std::size_t bytes_ = 0;
};

// The bytes that a record takes in a form.
template <class Record>
constexpr std::size_t recordSize(LayoutForm form) {
  FieldCounter counter(form);
  const Record record{};
  Record::layout(counter, record);
  return counter.bytes();
}

inline constexpr std::size_t kBoxHeaderSize = 8;
inline constexpr std::size_t kFullBoxHeaderSize = 12;

// What the payload of a box begins with, before its record: nothing, or version and flags. A class
// always writes its box in the version given here, whatever version was read.
struct Plain {
  static constexpr bool kIsFull = false;
  static constexpr std::uint8_t kVersion = 0;
};
template <std::uint8_t kWrittenVersion>
struct Full {
  static constexpr bool kIsFull = true;
  static constexpr std::uint8_t kVersion = kWrittenVersion;
};

// The length of a box with a compact header and nothing but the record.
template <class Record>
constexpr std::size_t plainBoxSize() {
  return kBoxHeaderSize + recordSize<Record>(LayoutForm{});
}

// The length of a box with a compact header, version and flags, and nothing but the record.
template <class Record>
constexpr std::size_t fullBoxSize(LayoutForm form) {
  return kFullBoxHeaderSize + recordSize<Record>(form);
}

inline constexpr LayoutForm kVersion0{0, 0};
inline constexpr LayoutForm kVersion1{1, 0};

// The record that some bytes begin with. They hold at least what recordSize counts.
template <class Record>
Record recordFrom(std::span<const std::uint8_t> bytes, LayoutForm form = kVersion0) {
  Record record;
  FieldReader reader(bytes, form);
  Record::layout(reader, record);
  return record;
}

// Writes a record into bytes of the length that recordSize counts, or more.
template <class Record>
void encodeRecord(const Record& record, std::span<std::uint8_t> bytes,
                  LayoutForm form = kVersion0) {
  FieldWriter writer(bytes, form);
  Record::layout(writer, record);
}

// The record of a box that is kept as bytes; none for a payload that is too short for it. Bytes
// past the record are left alone.
template <class Record, class Kind = Plain>
std::optional<Record> decodeRecord(std::span<const std::uint8_t> payload) {
  constexpr std::size_t kVersionAndFlags = Kind::kIsFull ? 4 : 0;
  if (payload.size() < kVersionAndFlags) return std::nullopt;
  LayoutForm form;
  if constexpr (Kind::kIsFull) {
    form = {payload[0], static_cast<std::uint32_t>(loadBigEndian<3>(payload.data() + 1))};
  }
  const std::span<const std::uint8_t> fields = payload.subspan(kVersionAndFlags);
  if (fields.size() < recordSize<Record>(form)) return std::nullopt;
  return recordFrom<Record>(fields, form);
}

}  // namespace norvik::kav::impl
