#include "worker/Plugins.h"

#include <sys/auxv.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace HOQ::agent {
namespace {

namespace fs = std::filesystem;

/// Where plugins lie, seen from this program's folder: built, then installed.
constexpr const char* kPlaces[] = {"../lib", "../../" HOQ_INSTALL_LIBDIR "/hoq/plugins",
                                   "../../lib/hoq/plugins"};

bool isPlugin(const fs::path& file) {
  const std::string name = file.filename().string();
  return name.compare(0, 6, "libHOQ") == 0 && file.extension() == ".so";
}

std::vector<std::string> pluginsIn(const fs::path& folder, std::error_code& error) {
  std::vector<std::string> files;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (isPlugin(entry->path())) files.push_back(entry->path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// The name that this program was executed by; the daemon gives it whole.
std::string executedFile() {
  const auto* name = reinterpret_cast<const char*>(::getauxval(AT_EXECFN));
  return name ? name : "";
}

std::string defaultFolder() {
  std::error_code error;
  fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
  if (error) here = fs::path(executedFile()).parent_path();  // a confined worker has no /proc
  for (const char* place : kPlaces) {
    if (!pluginsIn(here / place, error).empty()) return (here / place).string();
  }
  return here.string();
}

}  // namespace

std::string loadPlugins(HOQPluginLoader& loader, const std::string& folder) {
  const std::string place = folder.empty() ? defaultFolder() : folder;
  std::error_code error;
  const std::vector<std::string> files = pluginsIn(place, error);
  if (error) return "cannot read the plugin folder " + place + ": " + error.message();
  if (files.empty()) return "no plugin (libHOQ*.so) is in " + place;
  for (const std::string& file : files) {
    if (std::string why = loader.load(file); !why.empty()) return why;
  }
  return "";
}

}  // namespace HOQ::agent
