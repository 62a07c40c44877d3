#include "commands/CertCommand.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <ctime>
#include <iterator>

#include "PathText.h"
#include "cert/Authority.h"
#include "cert/PemFiles.h"
#include "output/JsonText.h"

namespace HOQ::cli {
namespace {

constexpr std::int64_t kDay = 24 * 60 * 60;
constexpr std::int64_t kAuthorityDays = 3650;
constexpr std::int64_t kUsualDays = 365;
constexpr std::int64_t kMostDays = 36500;
// For nodes whose clocks are a little behind.
constexpr std::int64_t kClocksDiffer = 10 * 60;

template <class T>
T required(tls::Result<T> result) {
  if (!result) throw CommandError(kExitFailed, result.error().text);
  return std::move(*result);
}

std::int64_t parseDays(const std::string& text, std::int64_t usual) {
  if (text.empty()) return usual;
  std::int64_t days = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), days);
  if (error != std::errc() || stop != text.data() + text.size() || days < 1 || days > kMostDays)
    throw CommandError(kExitUsage, "--days takes a number from 1 to 36500, not \"" + text + "\"");
  return days;
}

cert::Validity fromNow(std::int64_t days) {
  const std::int64_t now = std::time(nullptr);
  return {now - kClocksDiffer, now + days * kDay};
}

/// The names of a certificate, each once, the first one first.
std::vector<cert::AlternativeName> parseNames(const std::string& name,
                                              const std::vector<std::string>& hosts) {
  std::vector<cert::AlternativeName> names;
  std::vector<std::string> all = hosts;
  all.insert(all.begin(), name);
  for (const std::string& text : all) {
    const auto parsed = cert::AlternativeName::parse(text);
    if (!parsed) throw CommandError(kExitUsage, parsed.error().text);
    const bool isThere = std::any_of(names.begin(), names.end(),
                                     [&text](const auto& one) { return one.text == text; });
    if (!isThere) names.push_back(*parsed);
  }
  // It names the files, too.
  if (names.front().kind == cert::AlternativeName::Kind::kUri || name.front() == '*')
    throw CommandError(kExitUsage, "NAME is a DNS name or an IP address, not \"" + name +
                                       "\" (--host takes further names)");
  return names;
}

/// One line, or one JSON object, about what was written.
void tell(Session& session, const std::string& directory, const std::string& name,
          const std::vector<cert::AlternativeName>& names, const cert::PemPair& pair) {
  const std::string certificate = cert::certificateFile(directory, name);
  const std::string key = cert::keyFile(directory, name);
  Output::Buffer& out = session.output().buffer();
  const std::string until = fmt::format("{:%Y-%m-%d}", fmt::gmtime(pair.notAfter));
  if (session.settings().json) {
    session.output().append("{\"certificate\":");
    appendJson(out, certificate);
    session.output().append(",\"key\":");
    appendJson(out, key);
    session.output().append(",\"names\":[");
    for (const auto& one : names) {
      if (&one != &names.front()) session.output().append(",");
      appendJson(out, one.text);
    }
    fmt::format_to(std::back_inserter(out), "],\"notAfter\":{},\"fingerprint\":\"{}\"}}\n",
                   pair.notAfter, pair.fingerprint);
    return;
  }
  if (session.settings().quiet) return;
  std::string listed;
  for (const auto& one : names) listed += (listed.empty() ? "for " : ", ") + one.text;
  if (names.empty()) listed = "an authority";
  fmt::format_to(std::back_inserter(out), "{}: {}, until {}\nSHA-256 {}\n", certificate, listed,
                 until, pair.fingerprint);
}

void write(Session& session, const std::string& directory, const std::string& name,
           const std::vector<cert::AlternativeName>& names, const cert::PemPair& pair) {
  if (auto error = cert::writePair(directory, name, pair))
    throw CommandError(kExitFailed, error->text);
  tell(session, directory, name, names, pair);
  session.setSummary("1 certificate");
}

}  // namespace

std::string CertCommand::notes() const {
  return "\"ca\" makes an authority: ca.pem, which every node and client gets, and ca.key, which\n"
         "stays where certificates are issued. It is good for ten years, or --days.\n"
         "\"issue\" makes NAME.pem and NAME.key, vouched for by the authority in --ca, good for a\n"
         "year, or --days, but no longer than the authority. Nodes are known by the names that\n"
         "they are reached by: give each with --host. Clients are known by NAME.\n"
         "Keys are for their owner alone (0600), and files that are there are never replaced.\n"
         "\nExamples:\n"
         "  $ hoq cert ca --out ca\n"
         "  $ hoq cert issue node-a --ca ca --out . --host node-a.example --host 127.0.0.1\n"
         "  $ hoq cert issue admin --ca ca --out . --days 90\n";
}

std::vector<Option> CertCommand::options() {
  return {{"--out", "DIR", "where the files are written; made where it is missing", &out_},
          {"--ca", "DIR", "issue: where the authority's ca.pem and ca.key are", &authority_},
          {"--host", "HOST", "issue: a further DNS name or IP address; may stand more than once",
           &hosts_},
          {"--days", "N", "for how long it is good", &days_}};
}

ExitStatus CertCommand::makeAuthority(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() != 1) throw CommandError(kExitUsage, "cert ca takes no further argument");
  if (!authority_.empty() || !hosts_.empty())
    throw CommandError(kExitUsage, "--ca and --host are for cert issue");
  const auto authority = required(cert::Authority::make(fromNow(parseDays(days_, kAuthorityDays))));
  write(session, resolve(session.localDirectory(), out_), "ca", {}, required(authority.pair()));
  return kExitDone;
}

ExitStatus CertCommand::issue(Session& session, const std::vector<std::string>& arguments) {
  if (arguments.size() != 2)
    throw CommandError(kExitUsage, "cert issue takes one NAME (see hoq cert --help)");
  if (authority_.empty())
    throw CommandError(kExitUsage, "cert issue needs --ca DIR, the folder of the authority");
  const std::string& name = arguments.back();
  cert::Wanted wanted{parseNames(name, hosts_), fromNow(parseDays(days_, kUsualDays))};
  const auto authority =
      required(cert::readAuthority(resolve(session.localDirectory(), authority_)));
  const std::int64_t end = authority.validity().notAfter;
  if (end < wanted.validity.notBefore)
    throw CommandError(kExitFailed, "the authority has expired: make a new one");
  wanted.validity.notAfter = std::min(wanted.validity.notAfter, end);
  write(session, resolve(session.localDirectory(), out_), name, wanted.names,
        required(authority.issue(wanted)));
  return kExitDone;
}

ExitStatus CertCommand::run(Session& session, const std::vector<std::string>& arguments) {
  const bool isIssue = !arguments.empty() && arguments.front() == "issue";
  if (!isIssue && (arguments.empty() || arguments.front() != "ca"))
    throw CommandError(kExitUsage, "cert takes \"ca\" or \"issue NAME\" (see hoq cert --help)");
  if (out_.empty()) throw CommandError(kExitUsage, "cert needs --out DIR, a folder for the files");
  return isIssue ? issue(session, arguments) : makeAuthority(session, arguments);
}

}  // namespace HOQ::cli
