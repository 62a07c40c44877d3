#include <unistd.h>

#include "CommandLine.h"
#include "output/Output.h"

int main(int argc, char** argv) {
  HOQ::cli::occupyStandardDescriptors();
  return HOQ::cli::runCommandLine({argv + 1, argv + (argc > 0 ? argc : 1)});
}
