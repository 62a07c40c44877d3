#include "cert/PemFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/TempDir.h"

namespace HOQ::cert {
namespace {

using test::TempDir;

const PemPair kPair{"certificate\n", "key\n", "", 0};

std::string contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

unsigned modeOf(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

std::size_t entries(const std::string& directory) {
  const std::filesystem::directory_iterator all(directory);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(PemFiles, BothAreWrittenAndTheKeyIsForItsOwnerWhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{077}}) {
    const TempDir directory;
    const mode_t before = ::umask(mask);
    const auto error = writePair(directory / "new/deep", "node", kPair);
    ::umask(before);
    ASSERT_FALSE(error) << error->text;
    EXPECT_EQ(contents(directory / "new/deep/node.pem"), kPair.certificate);
    EXPECT_EQ(contents(directory / "new/deep/node.key"), kPair.key);
    EXPECT_EQ(modeOf(directory / "new/deep/node.key"), 0600u);
    EXPECT_EQ(modeOf(directory / "new/deep/node.pem"), 0644u);
    EXPECT_EQ(entries(directory / "new/deep"), 2u);
  }
}

TEST(PemFiles, AFileThatIsThereStaysAndNothingIsLeftBesideIt) {
  for (const char* there : {"node.pem", "node.key"}) {
    SCOPED_TRACE(there);
    const TempDir directory;
    std::ofstream(directory / there) << "mine";
    const auto error = writePair(directory.path(), "node", kPair);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind, tls::ErrorKind::kUsage);
    EXPECT_EQ(error->text, (directory / there) + ": is there already and stays as it is");
    EXPECT_EQ(contents(directory / there), "mine");
    EXPECT_EQ(entries(directory.path()), 1u);
  }
}

TEST(PemFiles, ALinkThatLeadsNowhereIsThereAsWell) {
  const TempDir directory;
  ASSERT_EQ(::symlink((directory / "elsewhere").c_str(), (directory / "node.key").c_str()), 0);
  EXPECT_TRUE(writePair(directory.path(), "node", kPair));
  EXPECT_EQ(entries(directory.path()), 1u);
}

TEST(PemFiles, WhereTheFolderCannotBeWrittenNothingIsLeft) {
  const TempDir directory;
  std::ofstream(directory / "file") << "";
  const auto error = writePair(directory / "file/below", "node", kPair);
  ASSERT_TRUE(error);
  EXPECT_NE(error->text.find(directory / "file"), std::string::npos) << error->text;
  EXPECT_EQ(entries(directory.path()), 1u);
}

TEST(PemFiles, AnAuthorityIsReadBackAndAMissingFileIsNamed) {
  const TempDir directory;
  EXPECT_EQ(readAuthority(directory.path()).error().text,
            (directory / "ca.pem") + ": cannot be read: No such file or directory");
  const auto made = Authority::make({0, 4000000000});
  ASSERT_FALSE(writePair(directory.path(), "ca", *made->pair()));
  EXPECT_TRUE(readAuthority(directory.path()));
  ASSERT_EQ(::unlink((directory / "ca.key").c_str()), 0);
  EXPECT_EQ(readAuthority(directory.path()).error().text,
            (directory / "ca.key") + ": cannot be read: No such file or directory");
}

}  // namespace
}  // namespace HOQ::cert
