#pragma once

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

// The parts that the command lines of all companions share.
namespace quarrypack::companions {

// A command line that the program does not understand. The text is for people, without a full stop.
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& text) : std::runtime_error(text) {}
};

// The words after the name of the program.
using Words = std::span<const char* const>;

// What a command line requests.
enum class Action { run, showHelp, showVersion };

// Adds the options "help" and "version".
void addCommonOptions(boost::program_options::options_description& options);

// Parses the words after the name of the program. Options must be written in full: an abbreviation
// that is unique today might be ambiguous tomorrow. Throws UsageError.
boost::program_options::variables_map readCommandLine(
    Words words, const boost::program_options::options_description& options);

// What the common options request; help takes precedence.
Action actionOf(const boost::program_options::variables_map& values);

// The words that are not options, in their order.
std::vector<std::string> operandsOf(const boost::program_options::variables_map& values);

// Returns the only operand, the name of a file. verb is for the message: what is done to the file,
// "read". Throws UsageError for more operands or fewer, and for an empty name.
std::string fileOf(const boost::program_options::variables_map& values, const std::string& verb);

// Returns the value of an option whose value is a text; empty without the option. Throws UsageError
// for an empty value.
std::string textOf(const boost::program_options::variables_map& values, const char* name);

// Throws UsageError for a value that an option does not accept. choices lists those that it
// accepts, "a, b or c".
[[noreturn]] void failOnValue(const char* option, const std::string& value,
                              const std::string& choices);

}  // namespace quarrypack::companions
