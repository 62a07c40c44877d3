#include "commands/PingCommand.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>

#include <hoq/HOQNodeIdentity.h>

#include "node/Network.h"
#include "output/JsonText.h"

namespace HOQ::cli {
namespace {

const char* rightsText(const transport::NodeInfo& info) {
  if (info.mayRead) return info.mayChange ? "read, change" : "read";
  return info.mayChange ? "change" : "none";
}

std::string clockText(std::chrono::system_clock::time_point clock) {
  const auto since = clock.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(since - seconds);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::time_t{seconds.count()}),
                     rest.count());
}

double milliseconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

void appendPairs(Output& out, const std::string& address, const transport::NodeInfo& info) {
  out.append("{\"address\":");
  appendJson(out.buffer(), address);
  out.append(",\"version\":");
  appendJson(out.buffer(), info.version);
  out.append(",\"eid\":\"" + toText(info.eid) + "\",\"client\":");
  appendJson(out.buffer(), info.client);
  out.append(",\"user\":");
  appendJson(out.buffer(), info.user);
  fmt::format_to(std::back_inserter(out.buffer()),
                 ",\"rights\":[{}{}{}],\"clock\":\"{}\",\"roundTripMs\":{:.3f}}}\n",
                 info.mayRead ? "\"read\"" : "", info.mayRead && info.mayChange ? "," : "",
                 info.mayChange ? "\"change\"" : "", clockText(info.clock),
                 milliseconds(info.roundTrip));
}

void appendLines(Output& out, const std::string& address, const transport::NodeInfo& info,
                 bool verbose) {
  auto end = std::back_inserter(out.buffer());
  fmt::format_to(end,
                 "node        {}\nversion     {}\nidentity    {}\nknown as    {}\n"
                 "rights      {}\n",
                 address, info.version, toText(info.eid), info.client, rightsText(info));
  if (verbose && !info.user.empty()) fmt::format_to(end, "runs as     {}\n", info.user);
  fmt::format_to(end, "clock       {}\nround trip  {:.3f} ms\n", clockText(info.clock),
                 milliseconds(info.roundTrip));
}

}  // namespace

std::string PingCommand::notes() const {
  return "The node is named by --node (or HOQ_NODE). \"known as\" is the name by which the node's\n"
         "configuration knows our certificate, or our user on a UNIX socket. With -v there is\n"
         "\"runs as\", too: the user there whose rights our requests have.\n"
         "\nExamples:\n"
         "  hoq --node files.example:7850 --ca ca.pem --cert me.pem --key me.key ping\n"
         "  hoq --node unix:/run/hoq/hoqd.sock ping\n";
}

ExitStatus PingCommand::run(Session& session, const std::vector<std::string>& arguments) {
  if (!arguments.empty())
    throw CommandError(kExitUsage, "ping takes no arguments; --node names the node");
  const std::string& address = session.settings().node;
  if (address.empty())
    throw CommandError(kExitUsage, "ping asks another node: name it with --node ADDRESS");
  transport::NodeInfo info;
  // The first question also makes the connection; the second one's way is the node's distance.
  for (int question = 0; question < 2; ++question) {
    const auto outcome = session.network().client().info(address, info);
    if (outcome.failure != transport::NodeFailure::kNone)
      throw CommandError(kExitNoNode, outcome.text);
  }
  if (session.settings().json)
    appendPairs(session.output(), address, info);
  else
    appendLines(session.output(), address, info, session.settings().verbose);
  return info.mayRead || info.mayChange ? kExitDone : kExitRefused;
}

}  // namespace HOQ::cli
