#pragma once

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>

#include "captions/formats/scc.h"

// How the time codes of SCC files are read: the same two options in every companion.
namespace quarrypack::companions {

// Adds the options "scc-offset" and "scc-rate".
void addSccOptions(boost::program_options::options_description& options);

// Whether the command line has any of them.
bool hasSccOptions(const boost::program_options::variables_map& values);

// Their values, or the defaults. Throws UsageError.
captions::SccOptions sccOptionsOf(const boost::program_options::variables_map& values);

}  // namespace quarrypack::companions
