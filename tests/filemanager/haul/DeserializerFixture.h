#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <string>

#include <hoq/HOQChannelMemory.h>

#include "filemanager/haul/HaulFixture.h"
#include "haul/HOQFileDeserializerLocalPrototype.h"

namespace HOQ::test {

constexpr int kOverwriteBit = 0x1;
constexpr int kRegularMode = 0100644;
constexpr int kDirectoryMode = 040755;

/// Receiving ends of this process, over channels in memory.
class DeserializerFixture : public HaulFixture {
 protected:
  using Deserializer = boost::intrusive_ptr<HOQFileDeserializerLocalPrototype>;
  using ParamsPtr = boost::shared_ptr<HOQFileDeserializerParams>;

  /// An item of that kind, to be put at "@/t", whatever is there.
  ParamsPtr itemAtT(bool isRegular, int options) const {
    return item(dir.path(), ".", options, 1, "t", isRegular);
  }

  static ParamsPtr item(const std::string& cwd, const std::string& destination, int options,
                        int depth, const std::string& name, bool isRegular) {
    const auto params = boost::make_shared<HOQFileDeserializerParams>(
        cwd, destination, HOQFilerOptions(options), depth, name, isRegular);
    params->security = HOQSecurityAttributes(isRegular ? kRegularMode : kDirectoryMode);
    return params;
  }

  static Deserializer deserializing(const ParamsPtr& params) {
    Deserializer made(new HOQFileDeserializerLocalPrototype(HOQAccessProviderPtr()));
    EXPECT_EQ(made->init(HOQConnectionInfo{"local:"}, params), 0);
    EXPECT_EQ(made->create(), 0);
    return made;
  }

  static void send(const HOQChannelPtr& channel, const std::string& bytes) {
    std::uint64_t taken = 0;
    EXPECT_EQ(channel->getSourceEnd()->write(bytes.data(), bytes.size(), &taken), 0);
  }

  /// `text` with each "@" replaced by the place.
  std::string placed(const std::string& text) const {
    std::string whole;
    for (const char c : text) whole += c == '@' ? dir.path() : std::string(1, c);
    return whole;
  }

  const HOQChannelPtr channel = newChannelMemory();
};

}  // namespace HOQ::test
