#include "ModeText.h"

#include <gtest/gtest.h>

#include <string>

#include "ExitStatus.h"

namespace HOQ::cli {
namespace {

constexpr bool kFile = false;
constexpr bool kDirectory = true;

struct Row {
  const char* text;
  unsigned before;
  bool directory;
  unsigned mask;
  unsigned after;
};

const Row kRows[] = {
    // Octal: the same for everything, set-id bits of directories included.
    {"755", 0000, kFile, 022, 0755},
    {"0", 07777, kFile, 0, 0000},
    {"755", 06711, kDirectory, 077, 0755},
    {"4711", 0644, kFile, 0777, 04711},
    {"00000644", 0, kFile, 0, 0644},
    {"7777", 0, kDirectory, 0777, 07777},
    // Who and what.
    {"u+x", 0644, kFile, 0777, 0744},
    {"g+w", 0644, kFile, 022, 0664},
    {"o-r", 0644, kFile, 0, 0640},
    {"a+x", 0644, kFile, 0777, 0755},
    {"ugo+x", 0644, kFile, 0777, 0755},
    {"go=", 0777, kFile, 0, 0700},
    {"u=rw", 0777, kFile, 0, 0677},
    {"a=r", 0777, kFile, 0777, 0444},
    {"go-rwx", 0777, kFile, 0, 0700},
    {"u+", 0644, kFile, 0, 0644},
    // Without who, the mask stays out of it, but "=" clears it.
    {"+x", 0644, kFile, 022, 0755},
    {"+w", 0444, kFile, 022, 0644},
    {"+x", 0600, kFile, 077, 0700},
    {"-w", 0666, kFile, 022, 0466},
    {"-w", 0666, kFile, 0, 0444},
    {"=rw", 0777, kFile, 022, 0644},
    {"=", 07777, kFile, 022, 0},
    {"+t", 0755, kDirectory, 022, 01755},
    // Several operations and clauses, each on what the one before has left.
    {"u=rwx,go=rx", 0, kFile, 0777, 0755},
    {"u+x-w", 0644, kFile, 0, 0544},
    {"a=,u+r", 0777, kFile, 0, 0400},
    {"u=rwX,go-w", 0666, kFile, 0, 0644},
    {"u=rwX,go-w", 0676, kFile, 0, 0754},
    {"u=rwX,go-w", 0466, kDirectory, 0, 0744},
    // X: for directories, and where somebody may execute already.
    {"a+X", 0644, kFile, 0, 0644},
    {"a+X", 0645, kFile, 0, 0755},
    {"a+X", 0644, kDirectory, 0, 0755},
    {"a-X", 0755, kFile, 0, 0644},
    {"a-x,a+X", 0755, kFile, 0, 0644},
    {"a-x,a+X", 0755, kDirectory, 0, 0755},
    // Copies.
    {"g=u", 0740, kFile, 0777, 0770},
    {"u=g", 0750, kFile, 0, 0550},
    {"o=g", 0754, kFile, 0, 0755},
    {"o+u", 0701, kFile, 0, 0707},
    {"go-u", 0577, kFile, 0, 0522},
    {"g=u-w", 0740, kFile, 0, 0750},
    {"u=g,g=o,o=u", 0421, kFile, 0, 0212},
    {"=u", 0700, kFile, 022, 0755},
    {"u=g", 04750, kFile, 0, 0550},
    // s and t.
    {"u+s", 0755, kFile, 0777, 04755},
    {"g+s", 0755, kFile, 0, 02755},
    {"+s", 0755, kFile, 0, 06755},
    {"o+s", 0755, kFile, 0, 0755},
    {"o+t", 0755, kFile, 0, 01755},
    {"u+t", 0755, kFile, 0, 0755},
    {"a-s", 06755, kFile, 0, 0755},
    {"u=rwx", 04755, kFile, 0, 0755},
    {"a=rx", 01777, kFile, 0, 0555},
    // A directory's set-id bits change only where they are named.
    {"u=rwx", 06700, kDirectory, 0, 06700},
    {"a=rx", 02777, kDirectory, 0, 02555},
    {"g=rxs", 0755, kDirectory, 0, 02755},
    {"g-s", 02755, kDirectory, 0, 0755},
    {"u-s", 06755, kDirectory, 0, 02755},
    {"=rx", 02777, kDirectory, 022, 02555},
    // Type bits never come along.
    {"u+x", 0100644, kFile, 0, 0744},
};

TEST(ModeText, GivesEachItemItsMode) {
  for (const Row& row : kRows)
    EXPECT_EQ(ModeChange(row.text).apply(row.before, row.directory, row.mask), row.after)
        << row.text << " on " << std::oct << row.before << (row.directory ? " (directory)" : "")
        << " under " << row.mask;
}

TEST(ModeText, OnlyAnOctalModeIsTheSameForAll) {
  EXPECT_EQ(ModeChange("0755").octal(), 0755U);
  EXPECT_EQ(ModeChange("a=rx").octal(), std::nullopt);
}

TEST(ModeText, ClausesOneByOneDoWhatTheyDoTogether) {
  for (const char* first : {"u=rw", "g-x", "+X", "o=g"})
    for (const char* second : {"a+x", "u=g", "-w", "g+s"})
      for (unsigned mode = 0; mode <= 07777; mode += 0123) {
        const unsigned apart =
            ModeChange(second).apply(ModeChange(first).apply(mode, kFile, 027), kFile, 027);
        const std::string both = std::string(first) + "," + second;
        EXPECT_EQ(ModeChange(both).apply(mode, kFile, 027), apart) << both << " " << mode;
      }
}

TEST(ModeText, RefusesWhatIsNoMode) {
  for (const char* text :
       {"",      " ",     "8",     "75a",       "10000",    "77777777777777777777",
        "0x1ff", "-1",    "u",     "ugo",       "rwx",      "u+y",
        "u+rwz", "u=rw,", ",u=rw", "u=rw,,g=r", "u=rw g=r", "u+gw",
        "u+wg",  "z+x",   "u+755", "=755",      "u~x",      "u+x\n",
        "x+u",   "a"}) {
    try {
      const ModeChange change(text);
      FAIL() << text;
    } catch (const CommandError& error) {
      EXPECT_EQ(error.status, kExitUsage) << text;
      EXPECT_NE(std::string(error.what()).find(text), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace HOQ::cli
