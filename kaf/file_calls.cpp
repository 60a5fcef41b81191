#include "kaf/file_calls.h"

#include "kaf/io_stream_exception.h"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace quell::kaf {

// Movies exceed 4 GiB, and offsets are passed as off_t.
static_assert(sizeof(off_t) == sizeof(std::int64_t));

std::size_t readAt(FileHandle file, void* buffer, std::size_t count, std::uint64_t offset) {
  auto* bytes = static_cast<std::uint8_t*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t moved =
        pread(file.descriptor, bytes + done, count - done, static_cast<off_t>(offset + done));
    if (moved == 0) break;
    if (moved > 0) {
      done += static_cast<std::size_t>(moved);
    } else if (errno != EINTR) {
      throw IOStreamException(errno, file.path);
    }
  }
  return done;
}

namespace {

// One transfer of what is left of the two runs; a single run uses the simpler call.
ssize_t writeSome(int descriptor, ByteRun first, ByteRun second, off_t offset) {
  if (second.size == 0) return pwrite(descriptor, first.data, first.size, offset);
  if (first.size == 0) return pwrite(descriptor, second.data, second.size, offset);
  const auto part = [](ByteRun run) {
    // The call takes its parts without const but only reads them.
    return iovec{const_cast<std::uint8_t*>(run.data), run.size};
  };
  const std::array<iovec, 2> parts = {part(first), part(second)};
  return pwritev(descriptor, parts.data(), static_cast<int>(parts.size()), offset);
}

// Removes up to count bytes from the start of the run and returns how many it removed.
std::size_t takeFront(ByteRun& run, std::size_t count) {
  const std::size_t taken = count < run.size ? count : run.size;
  run.data += taken;
  run.size -= taken;
  return taken;
}

}  // namespace

void writeAt(FileHandle file, ByteRun first, ByteRun second, std::uint64_t offset) {
  while (first.size + second.size > 0) {
    const ssize_t moved = writeSome(file.descriptor, first, second, static_cast<off_t>(offset));
    if (moved < 0) {
      if (errno == EINTR) continue;
      throw IOStreamException(errno, file.path);
    }
    // A device that takes nothing and reports nothing would keep this loop running forever.
    if (moved == 0) throw IOStreamException(EIO, file.path);
    const auto written = static_cast<std::size_t>(moved);
    takeFront(second, written - takeFront(first, written));
    offset += written;
  }
}

void setLength(FileHandle file, std::uint64_t length) {
  while (ftruncate(file.descriptor, static_cast<off_t>(length)) != 0) {
    if (errno != EINTR) throw IOStreamException(errno, file.path);
  }
}

}  // namespace quell::kaf
