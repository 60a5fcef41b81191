#include "companions/program.h"

#include <new>
#include <stdexcept>

namespace quarrypack::companions {

namespace {

constexpr const char* kNoMemory = "there is not enough memory";

int report(std::string_view name, const std::string& text, int status) {
  std::cerr << name << ": " << text << ".\n";
  return status;
}

}  // namespace

int runReporting(std::string_view name, const std::function<int()>& work) {
  try {
    return work();
  } catch (const UsageError& error) {
    return report(name, std::string(error.what()) + "; see '--help'", kWrongUsage);
  } catch (const std::bad_alloc&) {
    return report(name, kNoMemory, kFailure);
  } catch (const std::length_error&) {  // a vector of more than 2 GiB, on 32 bits
    return report(name, kNoMemory, kFailure);
  } catch (const std::exception& error) {
    return report(name, error.what(), kFailure);
  }
}

void printFindings(std::string_view name, const std::string& file,
                   const std::vector<std::string>& findings) {
  for (const std::string& finding : findings) {
    std::cerr << name << ": '" << file << "': " << finding << ".\n";
  }
}

std::string versionText(std::string_view name) {
  return std::string(name) + " " QUARRYPACK_VERSION "\n";
}

}  // namespace quarrypack::companions
