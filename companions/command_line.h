#pragma once

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

// The part that the command lines of all companions share.
namespace quarrypack::companions {

// The exit statuses of every companion. Some have further ones of their own.
inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;  // a file cannot be read or written
inline constexpr int kWrongUsage = 2;

// A command line that the program does not understand. The text is for people.
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& text) : std::runtime_error(text) {}
};

// The name under which the values hold the operands: a list of texts, absent if there are none.
inline constexpr const char* kOperands = "operand";

// Reads the words after the name of the program. Options must be written in full: an abbreviation
// that is unique today might be ambiguous tomorrow. Throws UsageError.
boost::program_options::variables_map readCommandLine(
    std::span<const char* const> words, const boost::program_options::options_description& options);

// The value of an option that has a text; empty without the option. Throws UsageError for an empty
// text.
std::string textOf(const boost::program_options::variables_map& values, const char* name);

// Opens closed ones of standard input, output and error, so that no file of the program takes their
// place and receives its messages. Must be called before any file is opened.
void openStandardStreams();

// Calls the program and returns its status. Turns a UsageError and any other std::exception into a
// message on standard error, "NAME: TEXT.", and the matching status.
int runReporting(std::string_view name, const std::function<int()>& program);

}  // namespace quarrypack::companions
