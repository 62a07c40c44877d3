#include "filemanager/operations/ChangesFixture.h"

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

namespace HOQ::test {

ChangesFixture::Said ChangesFixture::carryByProgram(Operation operation,
                                                    const HOQFiler::Paths& paths,
                                                    const std::string& target, int options) const {
  const TempDir messages(TempDir::kMemory);
  std::ofstream(messages / "request") << nlohmann::json{
      {"cwd", dir.path()}, {"paths", paths}, {"destination", target}, {"options", options}};
  const std::string command = "'" + program + "' --engine " +
                              (engine() == HOQContentsEngine::kKernel ? "kernel" : "blocks") +
                              " call " + (operation == kCopy ? "copy" : "move") + " < '" +
                              (messages / "request") + "' > '" + (messages / "answer") + "'";
  const int status = std::system(command.c_str());
  const auto answer = nlohmann::json::parse(std::ifstream(messages / "answer"));
  Said outcome{answer.at("code"), {}, {}, {}};
  EXPECT_EQ(WEXITSTATUS(status), outcome.code == 0 ? 0 : 1);
  for (const auto& event : answer.at("events")) {
    if (event.contains("error")) {
      outcome.codes.push_back(event.at("error").at("code"));
      outcome.messages.push_back(event.at("error").at("message"));
    } else {
      outcome.progress.push_back(event.at("progress").at("status"));
    }
  }
  return outcome;
}

}  // namespace HOQ::test
