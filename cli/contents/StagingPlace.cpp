#include "contents/StagingPlace.h"

#include <fmt/format.h>

#include <random>
#include <utility>

#include "ExitStatus.h"
#include "PathText.h"
#include "contents/Digest.h"

namespace HOQ::cli {
namespace {

constexpr std::size_t kNameDigits = 16;

std::string runName() {
  std::random_device random;
  return fmt::format("{:08x}{:08x}", random(), random());
}

}  // namespace

std::string placeName(const std::string& command, const std::string& targets) {
  Digest digest;
  digest.add(targets.data(), targets.size());
  return ".hoq-" + command + "-" + digest.hex(kNameDigits);
}

StagingPlace::StagingPlace(std::string directory, std::string name)
    : directory_(std::move(directory)), path_(join(directory_, name)) {}

void StagingPlace::open(Side& side, bool resume) {
  work_ = join(path_, runName());  // first: what fails below is tidied up as well
  if (side.makePrivate(path_, work_)) return;
  if (resume) return takeOver(side);
  side.remove(path_, true);
  if (!side.makePrivate(path_, work_))
    throw SideError("\"" + path_ + "\" is there again: another run makes the same");
}

/// There is one run's directory in it, none where the run was killed at once, or parts of one that
/// was being removed.
void StagingPlace::takeOver(Side& side) {
  side.chmod({path_}, 0700);
  for (const SideEntry& left : side.list(path_).found) {
    if (!isEntryName(left.name)) continue;
    const std::string path = join(path_, left.name);
    if (resumed_ || !left.attributes.isDirectory()) {
      side.remove(path, left.attributes.isDirectory());
    } else {
      side.renameDirectory(path, work_);
      resumed_ = true;
    }
  }
  if (!resumed_) (void)side.makeDirectory(work_, 0700);
}

bool StagingPlace::isThere(Side& side) const {
  Attributes there;
  return examineItem(side, path_, false, there);
}

void StagingPlace::discard(Side& side) const {
  if (!isOpen()) return;
  const auto tryToRemove = [&side](const std::string& path, bool tree) {
    try {
      side.remove(path, tree);
    } catch (const SideError&) {
      // gone, or not to be removed: see the header
    } catch (const CommandError&) {
      // the node is lost, which has been told
    }
  };
  tryToRemove(work_, true);
  tryToRemove(path_, false);
}

}  // namespace HOQ::cli
