#include "tls/TlsContext.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "tls/PemFile.h"
#include "transport/tls/support/Certificates.h"

namespace HOQ::tls {
namespace {

using test::Certificates;
using test::days;

std::string contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

TEST(TlsContext, LoadsAndTellsWhoItIs) {
  Certificates made;
  TlsFiles files = made.issue("node", {{"node.example", "127.0.0.1"}});
  const std::string other(64, 'b');
  files.revoked = made.write("revoked.txt", "# gone\n" + other + "\n");
  const auto context = TlsContext::load(files);
  ASSERT_TRUE(context) << context.error().text;
  EXPECT_TRUE((*context)->own().hasName("node.example"));
  EXPECT_EQ((*context)->own().ipNames, std::vector<std::string>{"127.0.0.1"});
  EXPECT_TRUE((*context)->isRevoked(other));
  EXPECT_FALSE((*context)->isRevoked((*context)->own().fingerprint));
}

TEST(TlsContext, RsaKeysAreFine) {
  Certificates made(cert::KeyKind::kRsa2048);
  EXPECT_TRUE(
      TlsContext::load(made.issue("node", {{"node"}, days(-1, 1), cert::KeyKind::kRsa2048})));
}

struct BadFiles {
  const char* name;
  std::function<void(Certificates&, TlsFiles&)> spoil;
  std::string file;  // that the error names
  const char* why;
};

const BadFiles kBad[] = {
    {"a certificate that is not there",
     [](Certificates& made, TlsFiles& files) { files.certificate = made.file("no.pem"); }, "no.pem",
     "cannot be read: No such file or directory"},
    {"authorities that are not there",
     [](Certificates& made, TlsFiles& files) { files.authorities = made.file("no.pem"); }, "no.pem",
     "cannot be read: No such file or directory"},
    {"a key that is not there",
     [](Certificates& made, TlsFiles& files) { files.key = made.file("no.key"); }, "no.key",
     "cannot be read: No such file or directory"},
    {"a revoked list that is not there",
     [](Certificates& made, TlsFiles& files) { files.revoked = made.file("no.txt"); }, "no.txt",
     "cannot be read: No such file or directory"},
    {"a directory", [](Certificates& made, TlsFiles& files) { files.certificate = made.file("."); },
     ".", "is no regular file"},
    {"no PEM in the certificate",
     [](Certificates& made, TlsFiles& files) { files.certificate = made.write("x", "hello"); }, "x",
     "holds no certificate in PEM form"},
    {"an empty file of authorities",
     [](Certificates& made, TlsFiles& files) { files.authorities = made.write("x", ""); }, "x",
     "holds no certificate in PEM form"},
    {"a damaged certificate",
     [](Certificates& made, TlsFiles& files) {
       std::string text = contents(files.certificate);
       text.replace(text.find('\n') + 10, 4, "!!!!");
       files.certificate = made.write("x", text);
     },
     "x", "holds a certificate that is damaged"},
    {"no PEM in the key",
     [](Certificates& made, TlsFiles& files) { files.key = made.write("x", "hello"); }, "x",
     "holds no private key in PEM form"},
    {"another certificate's key",
     [](Certificates& made, TlsFiles& files) { files.key = made.issue("o", {{"o"}}).key; }, "o.key",
     "is not the key of the certificate in"},
    {"another certificate's key of another kind",
     [](Certificates& made, TlsFiles& files) {
       files.key = made.issue("o", {{"o"}, days(-1, 1), cert::KeyKind::kRsa2048}).key;
     },
     "o.key", "is not the key of the certificate in"},
    {"a key that others may read",
     [](Certificates&, TlsFiles& files) { ::chmod(files.key.c_str(), 0604); }, "node.key",
     "others than its owner may read this key"},
    {"a key that its group may write",
     [](Certificates&, TlsFiles& files) { ::chmod(files.key.c_str(), 0620); }, "node.key",
     "others than its owner may read this key"},
    {"an expired certificate",
     [](Certificates& made, TlsFiles& files) {
       files = made.issue("old", {{"node"}, days(-10, -1)});
     },
     "old.pem", "the certificate has expired: issue a new one"},
    {"a certificate of the future",
     [](Certificates& made, TlsFiles& files) {
       files = made.issue("new", {{"node"}, days(1, 9)});
     },
     "new.pem", "the certificate is not valid yet"},
    {"a revoked list with a wrong line",
     [](Certificates& made, TlsFiles& files) { files.revoked = made.write("r", "\nnode\n"); }, "r",
     "line 2 is no SHA-256 fingerprint"},
};

TEST(TlsContext, BadFilesAreRefusedWithTheirNameAndTheReason) {
  for (const BadFiles& row : kBad) {
    SCOPED_TRACE(row.name);
    Certificates made;
    TlsFiles files = made.issue("node", {{"node"}});
    row.spoil(made, files);
    const auto context = TlsContext::load(files);
    ASSERT_FALSE(context);
    EXPECT_EQ(context.error().kind, ErrorKind::kUsage);
    EXPECT_EQ(context.error().text.rfind(made.file(row.file) + ": ", 0), 0u)
        << context.error().text;
    EXPECT_NE(context.error().text.find(row.why), std::string::npos) << context.error().text;
  }
}

TEST(TlsContext, AnEncryptedKeyIsRefusedAndNobodyIsAsked) {
  Certificates made;
  TlsFiles files = made.issue("node", {{"node"}});
  const BioPtr encrypted(BIO_new(BIO_s_mem()));
  char* text = nullptr;
  ASSERT_EQ(PEM_write_bio_PKCS8PrivateKey(encrypted.get(), readKey(files.key)->get(),
                                          EVP_aes_128_cbc(), "pass", 4, nullptr, nullptr),
            1);
  const long length = BIO_get_mem_data(encrypted.get(), &text);
  files.key = made.write("x", std::string(text, static_cast<std::size_t>(length)));
  const auto context = TlsContext::load(files);
  ASSERT_FALSE(context);
  EXPECT_EQ(context.error().text,
            files.key + ": the key is encrypted; one without a pass phrase is needed");
}

TEST(TlsContext, ARootsKeyMayBeReadByItsGroup) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of root's";
  Certificates made;
  const TlsFiles files = made.issue("node", {{"node"}});
  ASSERT_EQ(::chmod(files.key.c_str(), 0640), 0);
  EXPECT_TRUE(TlsContext::load(files));
  ASSERT_EQ(::chown(files.key.c_str(), 65534, 65534), 0);
  ASSERT_EQ(::chmod(files.key.c_str(), 0600), 0);
  EXPECT_FALSE(TlsContext::load(files)) << "somebody else's key";
}

}  // namespace
}  // namespace HOQ::tls
