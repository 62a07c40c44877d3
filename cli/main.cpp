#include <unistd.h>

#include <csignal>

#include "CommandLine.h"
#include "output/Output.h"

int main(int argc, char** argv) {
  HOQ::cli::occupyStandardDescriptors();
  (void)std::signal(SIGXFSZ, SIG_IGN);  // a file beyond its limit is an error like others
  return HOQ::cli::runCommandLine({argv + 1, argv + (argc > 0 ? argc : 1)});
}
