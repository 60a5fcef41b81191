#pragma once

// The container library: reads and writes movies of the ISO base media file format.
namespace norvik::kav {

// The common base of the library's polymorphic classes: deletable through a pointer to it, never
// copied, because derived classes own parts of a document or of a stream.
class KavBase {
 public:
  KavBase() = default;
  KavBase(const KavBase&) = delete;
  KavBase& operator=(const KavBase&) = delete;
  virtual ~KavBase() = default;
};

}  // namespace norvik::kav
