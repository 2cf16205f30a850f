#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace replay {

using Entry = int (*)(const std::uint8_t*, std::size_t);

struct Target {
  const char* name;
  Entry entry;
};

// Every target, ended by a null name.
extern const Target kTargets[];

// The seed files of one target: (file name, bytes). Empty for a target without seeds of its own.
std::vector<std::pair<std::string, std::vector<unsigned char>>> SeedsFor(const std::string& target);

}  // namespace replay
