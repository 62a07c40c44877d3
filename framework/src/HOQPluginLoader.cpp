#include <hoq/HOQPluginLoader.h>

#include <dlfcn.h>

#include <algorithm>
#include <exception>
#include <string_view>

#include <hoq/HOQVersion.h>

namespace HOQ {
namespace {

constexpr std::string_view kPrefix = "lib";
constexpr std::string_view kSuffix = ".so";
constexpr std::string_view kMissedVersion = "undefined symbol: hoqFrameworkVersion_";

// File names and foreign texts may have line breaks in them.
std::string problem(const std::string& file, const std::string& reason) {
  std::string line = file + ": " + reason;
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, '?');
  return line;
}

// NAME of libNAME.so; empty when the file is not named so.
std::string pluginName(const std::string& file) {
  const std::string_view base = std::string_view(file).substr(file.rfind('/') + 1);
  if (base.size() <= kPrefix.size() + kSuffix.size() || !base.starts_with(kPrefix) ||
      !base.ends_with(kSuffix))
    return std::string();
  return std::string(base.substr(kPrefix.size(), base.size() - kPrefix.size() - kSuffix.size()));
}

// "X.Y" when the dynamic linker missed the symbol of version X.Y, otherwise empty.
std::string missedVersion(const std::string& linkerText) {
  const std::size_t at = linkerText.find(kMissedVersion);
  if (at == std::string::npos) return std::string();
  const std::size_t from = at + kMissedVersion.size();
  const std::size_t end = linkerText.find_first_not_of("0123456789_", from);
  std::string version = linkerText.substr(from, end == std::string::npos ? end : end - from);
  std::replace(version.begin(), version.end(), '_', '.');
  return version;
}

// Why dlopen(3) refused `file`.
std::string linkerProblem(const std::string& file) {
  const char* const text = dlerror();
  std::string reason = text != nullptr ? text : "cannot be loaded";
  const std::string version = missedVersion(reason);
  if (!version.empty())
    return problem(
        file, "built for version " + version + " of the framework, this is " + frameworkVersion());
  if (reason.starts_with(file + ": ")) reason.erase(0, file.size() + 2);
  return problem(file, reason);
}

}  // namespace

std::string HOQPluginLoader::load(const std::string& file) {
  const std::string name = pluginName(file);
  if (name.empty()) return problem(file, "a plugin's file is named libNAME.so");

  // Never closed again: what the library registered or made may be in use.
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return linkerProblem(file);

  const std::string initName = "init" + name;
  const std::string finiName = "fini" + name;
  const auto init = reinterpret_cast<EntryPoint>(dlsym(library, initName.c_str()));
  if (init == nullptr) return problem(file, "exports no " + initName);
  const auto fini = reinterpret_cast<EntryPoint>(dlsym(library, finiName.c_str()));
  if (fini == nullptr) return problem(file, "exports no " + finiName);

  loaded_.reserve(loaded_.size() + 1);  // nothing may fail once the plugin is initialised
  try {
    const int code = init();
    if (code != 0) return problem(file, initName + " failed with " + std::to_string(code));
  } catch (const std::exception& error) {
    return problem(file, initName + " failed: " + error.what());
  } catch (...) {
    return problem(file, initName + " failed with an exception of an unknown kind");
  }
  if (std::find(loaded_.begin(), loaded_.end(), fini) == loaded_.end()) loaded_.push_back(fini);
  return std::string();
}

HOQPluginLoader::~HOQPluginLoader() {
  for (auto fini = loaded_.rbegin(); fini != loaded_.rend(); ++fini) {
    try {
      (void)(*fini)();  // its code has no reader any more
    } catch (...) {     // the other plugins have to be told as well
    }
  }
}

}  // namespace HOQ
