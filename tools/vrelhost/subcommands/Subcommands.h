#pragma once

#include "tools/vrelhost/commandline/Subcommand.h"

#include <vector>

/** The sources of this directory that hold subcommands, in the order of the help. */
#define VRELHOST_SUBCOMMANDS(source)                                                                         \
    source(about) source(schema) source(run) source(station) source(scan) source(rig) source(ledger)

/** What the tool can do. */
namespace Subcommands {

using Rows = std::vector<Subcommand>;

// One function for each source, which yields its rows.
#define VRELHOST_DECLARE(source) Rows source();
VRELHOST_SUBCOMMANDS(VRELHOST_DECLARE)
#undef VRELHOST_DECLARE

} // namespace Subcommands
