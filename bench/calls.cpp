// hoq_bench_calls ADDRESS CA CERTIFICATE KEY PATH CLIENTS MILLISECONDS
//
// CLIENTS threads, each with a connection of its own to the node at ADDRESS, ask for `stat PATH`
// one call after the other for so long. Prints one object of JSON: how many calls there were in how
// many seconds, and how long they took in microseconds: median, 99th percentile, longest.

#include <algorithm>
#include <barrier>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "transport/NodeClient.h"
#include "transport/dial/TlsDialer.h"

namespace {

using Clock = std::chrono::steady_clock;
using Micros = std::chrono::duration<double, std::micro>;

struct Task {
  std::string address;
  HOQ::transport::TlsDialerSettings files;
  std::string path;
  std::chrono::milliseconds lasts;
};

/// One client's calls.
struct Took {
  std::vector<double> micros;
  std::string trouble;  // empty: every call was answered with a record
};

bool ask(HOQ::HOQFiler& filer, const std::string& path) {
  constexpr unsigned kTypeSizeAndTime = 0x1 | 0x40 | 0x80;
  HOQ::HOQFiler::FileTypes records;
  return filer.stat({path}, &records, HOQ::HOQFilerOptions(0), kTypeSizeAndTime) == 0 &&
         records.size() == 1;
}

void run(const Task& task, std::barrier<>& start, Took& took) {
  const std::unique_ptr<HOQ::transport::Dialer> dialer(hoqNewTlsDialer(&task.files));
  const std::unique_ptr<HOQ::transport::NodeClient> client(hoqNewNodeClient(dialer.get(), nullptr));
  HOQ::transport::NodeInfo info;
  took.trouble = client->info(task.address, info).text;  // connects
  const boost::shared_ptr<HOQ::transport::RemoteFiler> filer = client->filer(task.address);
  const bool works = took.trouble.empty() && ask(*filer, task.path);
  if (!works && took.trouble.empty()) took.trouble = "no record of " + task.path;
  start.arrive_and_wait();
  const Clock::time_point until = Clock::now() + task.lasts;
  for (Clock::time_point now = Clock::now(); works && now < until;) {
    if (!ask(*filer, task.path)) {
      took.trouble = "a call failed";
      return;
    }
    const Clock::time_point after = Clock::now();
    took.micros.push_back(Micros(after - now).count());
    now = after;
  }
}

int report(std::vector<Took>& clients, double seconds) {
  std::vector<double> all;
  for (const Took& each : clients) {
    if (!each.trouble.empty()) {
      std::fprintf(stderr, "hoq_bench_calls: %s\n", each.trouble.c_str());
      return 1;
    }
    all.insert(all.end(), each.micros.begin(), each.micros.end());
  }
  if (all.empty()) {
    std::fputs("hoq_bench_calls: no call was answered in time\n", stderr);
    return 1;
  }
  std::sort(all.begin(), all.end());
  std::printf(R"({"calls": %zu, "seconds": %.6f, "median_us": %.1f, "p99_us": %.1f, )"
              R"("longest_us": %.1f})"
              "\n",
              all.size(), seconds, all[all.size() / 2], all[all.size() * 99 / 100], all.back());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 8) {
    std::fputs("usage: hoq_bench_calls ADDRESS CA CERTIFICATE KEY PATH CLIENTS MILLISECONDS\n",
               stderr);
    return 2;
  }
  const Task task{
      argv[1], {argv[2], argv[3], argv[4]}, argv[5], std::chrono::milliseconds(std::atoi(argv[7]))};
  std::vector<Took> clients(static_cast<std::size_t>(std::max(1, std::atoi(argv[6]))));
  std::barrier<> start(static_cast<std::ptrdiff_t>(clients.size()) + 1);
  std::vector<std::thread> threads;
  for (Took& each : clients)
    threads.emplace_back([&task, &start, &each] { run(task, start, each); });
  start.arrive_and_wait();  // everybody is connected
  const Clock::time_point began = Clock::now();
  for (std::thread& each : threads) each.join();
  return report(clients, std::chrono::duration<double>(Clock::now() - began).count());
}
