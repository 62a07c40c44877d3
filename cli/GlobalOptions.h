#pragma once

#include <string>
#include <vector>

#include "Session.h"
#include "commands/Command.h"

namespace HOQ::cli {

/// The global options as they were typed.
struct Globals {
  Settings settings;
  std::string progress;
  std::string color;
  std::string engine;
  bool version = false;
  bool help = false;
};

/// The table of them; their values go to `globals`, which must outlive it.
std::vector<Option> globalOptions(Globals& globals);

}  // namespace HOQ::cli
