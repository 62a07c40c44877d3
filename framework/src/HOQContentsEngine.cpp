#include <hoq/HOQContentsEngine.h>

#include <atomic>

namespace HOQ {
namespace {

std::atomic<HOQContentsEngine::Kind> chosenKind{HOQContentsEngine::kBlocks};

}  // namespace

HOQContentsEngine::Kind HOQContentsEngine::chosen() {
  return chosenKind.load(std::memory_order_relaxed);
}

void HOQContentsEngine::choose(Kind kind) { chosenKind.store(kind, std::memory_order_relaxed); }

std::optional<HOQContentsEngine::Kind> HOQContentsEngine::named(const std::string& name) {
  if (name == "blocks") return kBlocks;
  if (name == "kernel") return kKernel;
  return std::nullopt;
}

}  // namespace HOQ
