#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdlib>
#include <iostream>
#include <string>

#include "kaf/kav_stream.h"
#include "kaf/open_mode.h"
#include "kav/exception.h"
#include "tests/library/remux.h"

// remux INPUT OUTPUT regular | fragmented DURATION [random-access]: writes the samples of a movie
// into another one, for tests with other programs. DURATION counts in the movie's timescale.
int main(int argc, char** argv) {
  using quell::kaf::OpenMode;
  using quell::kafpkgutil::KavStream;
  if (argc < 4) {
    std::cerr << "usage: remux INPUT OUTPUT regular | fragmented DURATION [random-access]\n";
    return 2;
  }
  quarrypack::test::RemuxOptions options;
  options.fragmented = std::string(argv[3]) == "fragmented";
  if (argc > 4) options.fragmentDuration = std::strtoull(argv[4], nullptr, 10);
  options.randomAccess = argc > 5;
  try {
    const boost::intrusive_ptr<KavStream> input(
        new KavStream(argv[1], OpenMode::kReadOnly | OpenMode::kBinary));
    const boost::intrusive_ptr<KavStream> output(new KavStream(
        argv[2],
        OpenMode::kReadWrite | OpenMode::kCreate | OpenMode::kTruncate | OpenMode::kBinary));
    quarrypack::test::remux(*input, *output, options);
  } catch (const norvik::kav::Exception& exception) {
    std::cerr << "error " << exception.code() << '\n';
    return 1;
  }
  return 0;
}
