#pragma once

#include <cstdio>
#include <string>

#include "output/Output.h"

namespace HOQ::cli {

/// An Output over a temporary file, for looking at what was written.
class OutputFile {
 public:
  OutputFile() : file_(std::tmpfile()), out(::fileno(file_)) {}
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile() { std::fclose(file_); }

  std::string text() {
    out.flush();
    std::string all;
    std::rewind(file_);
    for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) all += static_cast<char>(c);
    return all;
  }

 private:
  std::FILE* const file_;

 public:
  Output out;
};

}  // namespace HOQ::cli
