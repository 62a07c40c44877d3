#include "front/Metrics.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <map>
#include <utility>
#include <vector>

namespace HOQ::agent {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;
using Counts = std::map<std::string, Tally::Count>;

class Families {
 public:
  /// Begins a family; what is added next belongs to it.
  Families& counter(const char* name, const char* help) {
    return begin(name, help, MetricType::Counter);
  }
  Families& gauge(const char* name, const char* help) {
    return begin(name, help, MetricType::Gauge);
  }

  Families& add(double value, Labels labels = {}) {
    ClientMetric metric;
    metric.label = std::move(labels);
    MetricFamily& family = families_.back();
    (family.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
    family.metric.push_back(std::move(metric));
    return *this;
  }
  Families& add(std::uint64_t value, Labels labels = {}) {
    return add(static_cast<double>(value), std::move(labels));
  }
  Families& add(const Counts& counts, const char* label) {
    for (const auto& [value, count] : counts) add(count, {{label, value}});
    return *this;
  }

  std::string text() const { return prometheus::TextSerializer().Serialize(families_); }

 private:
  Families& begin(const char* name, const char* help, MetricType type) {
    MetricFamily family;
    family.name = name;
    family.help = help;
    family.type = type;
    families_.push_back(std::move(family));
    return *this;
  }

  std::vector<MetricFamily> families_;
};

void addFront(Families& families, const Tally& tally, const Levels& levels) {
  families.gauge("hoqd_build_info", "1, with the program's version")
      .add(1.0, {{"version", HOQ_PROGRAM_VERSION}});
  families.gauge("hoqd_connections", "Connections of clients, handshakes included")
      .add(std::uint64_t{levels.connections});
  families.gauge("hoqd_handshakes", "Connections whose handshake is under way")
      .add(std::uint64_t{levels.handshaking});
  families.counter("hoqd_accepted_total", "Connections that were let in")
      .add(tally.accepted, "transport");
  families.counter("hoqd_refused_total", "Connections that were refused, by limit")
      .add(tally.refused, "reason");
  families.counter("hoqd_handshake_failures_total", "Handshakes that failed")
      .add(tally.handshakes, "kind");
  families.counter("hoqd_tls_received_bytes_total", "Plain bytes that came through TLS")
      .add(levels.pump.bytesReceived);
  families.counter("hoqd_tls_sent_bytes_total", "Plain bytes that went through TLS")
      .add(levels.pump.bytesSent);
  families.counter("hoqd_dials_total", "Connections to other nodes that workers asked for")
      .add(tally.dials, "outcome");
  families.counter("hoqd_reloads_total", "Configurations that were read again")
      .add(tally.reloads, "outcome");
  families.counter("hoqd_audit_records_total", "Audit lines").add(tally.auditRecords);
  families.counter("hoqd_audit_failures_total", "Audit lines that could not be written")
      .add(tally.auditFailures);
  families.gauge("hoqd_workers", "Worker processes").add(std::uint64_t{levels.workers});
  families.counter("hoqd_worker_starts_total", "Worker processes started").add(tally.workerStarts);
  families.counter("hoqd_worker_ends_total", "Worker processes that ended, asked to or not")
      .add(tally.workerEnds, "cause");
}

using ByClient = std::map<std::string, Counters>;

/// Grown by past and present workers; levels are of the present ones.
ByClient sums(const Tally& tally, const Workers& workers) {
  ByClient sum = tally.pastWorkers;
  for (auto& [client, counters] : sum) counters.active = counters.waiting = counters.streams = 0;
  workers.forEach([&](const Worker& worker) {
    Counters& counters = sum[worker.client()];
    add(counters, worker.counters);
    counters.active += worker.counters.active;
    counters.waiting += worker.counters.waiting;
    counters.streams += worker.counters.streams;
  });
  return sum;
}

void addWorkers(Families& families, const ByClient& clients) {
  families.counter("hoqd_calls_total", "Calls that ended");
  for (const auto& [client, counters] : clients) {
    for (const auto& row : counters.calls) {
      families.add(
          row.count,
          {{"client", client}, {"operation", row.operation}, {"code", std::to_string(row.code)}});
    }
  }
  struct Row {
    const char* name;
    const char* help;
    bool grows;
    std::uint64_t (*value)(const Counters&);
  };
  const Row rows[] = {
      {"hoqd_calls_busy_total", "Calls not begun, since too many were under way", true,
       [](const Counters& c) { return c.busy; }},
      {"hoqd_content_received_bytes_total", "Contents received", true,
       [](const Counters& c) { return c.bytesIn; }},
      {"hoqd_content_sent_bytes_total", "Contents sent", true,
       [](const Counters& c) { return c.bytesOut; }},
      {"hoqd_calls_active", "Operations and transfers that run", false,
       [](const Counters& c) { return std::uint64_t{c.active}; }},
      {"hoqd_calls_waiting", "Calls that wait for their turn", false,
       [](const Counters& c) { return std::uint64_t{c.waiting}; }},
      {"hoqd_transfer_streams", "Open transfer streams", false,
       [](const Counters& c) { return std::uint64_t{c.streams}; }},
  };
  for (const Row& row : rows) {
    row.grows ? families.counter(row.name, row.help) : families.gauge(row.name, row.help);
    for (const auto& [client, counters] : clients) {
      families.add(row.value(counters), {{"client", client}});
    }
  }
}

}  // namespace

std::string metricsText(const Tally& tally, const Levels& levels, const Workers& workers) {
  Families families;
  addFront(families, tally, levels);
  addWorkers(families, sums(tally, workers));
  return families.text();
}

}  // namespace HOQ::agent
