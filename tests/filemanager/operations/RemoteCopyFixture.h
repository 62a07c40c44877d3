#pragma once

#include <string>

#include <hoq/HOQConnectionInfo.h>
#include <hoq/HOQErrorMessage.h>

#include "filemanager/operations/ChangesFixture.h"
#include "support/MemoryTransport.h"
#include "support/TransferFactories.h"

namespace HOQ::test {

/// The place, and copies from it to a node: this process, or one that is reached without a network
/// and sees the same file system.
class RemoteCopyFixture : public ChangesFixture {
 protected:
  static constexpr char kOther[] = "node:1";
  // They take what is small whole, ahead of what is said of the items before it.
  static constexpr char kPrompt[] = "prompt:1";
  static constexpr char kLate[] = "late:1";

  RemoteCopyFixture() {
    transport.add(kPrompt).whole = MemoryNode::Whole::kAtOnce;
    transport.add(kLate).whole = MemoryNode::Whole::kLate;
  }

  void SetUp() override { clearErrorMessage(); }

  Said copyTo(const std::string& address, const HOQFiler::Paths& paths, const std::string& target,
              int options = 0, const HOQSecurityAttributes* attributes = nullptr) {
    return said([&](HOQFilerLocal& filer) {
      return filer.copy(paths, HOQConnectionInfo{address}, target, HOQFilerOptions(options),
                        attributes);
    });
  }

  const TransferFactories<> factories;
  MemoryTransport transport;
  MemoryNode& node = transport.add(kOther);
};

}  // namespace HOQ::test
