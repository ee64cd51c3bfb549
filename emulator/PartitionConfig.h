#pragma once

#include <string>

namespace VrelRig {

/**
 * Checks a partition configuration: an element `partitions` that holds elements `partition`, each with a
 * `name` of its own and a `size` in bytes. @return the number of partitions
 * @throws RigError naming `path`, line and column of what is wrong
 */
unsigned checkPartitionConfig(std::string const& xml, std::string const& path);

} // namespace VrelRig
