#include "kav/impl/reading/sample_iterator.h"

#include <new>
#include <utility>

namespace norvik::kav::impl {
namespace {

// The memory of dropped samples.
class Stock {
 public:
  constexpr Stock() = default;
  ~Stock() {
    while (first_ != nullptr) ::operator delete(take());
  }
  Stock(const Stock&) = delete;
  Stock& operator=(const Stock&) = delete;

  void* take() {
    if (first_ == nullptr) return ::operator new(sizeof(Sample));
    return std::exchange(first_, first_->next);
  }
  void put(void* memory) { first_ = new (memory) Piece{first_}; }

 private:
  struct Piece {
    Piece* next;
  };
  static_assert(sizeof(Piece) <= sizeof(Sample));

  Piece* first_ = nullptr;
};

constinit thread_local Stock stock;

}  // namespace

void* Sample::operator new(std::size_t /*size*/) { return stock.take(); }

void Sample::operator delete(void* memory) noexcept {
  if (memory != nullptr) stock.put(memory);
}

}  // namespace norvik::kav::impl
