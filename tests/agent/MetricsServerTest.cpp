#include "front/MetricsServer.h"

#include <gtest/gtest.h>

namespace HOQ::agent {
namespace {

TEST(MetricsServerTest, OnlyMetricsAreAnsweredAndOnlyToReaders) {
  const struct {
    const char* name;
    std::string request;
    bool complete;
    int status;
  } cases[] = {
      {"nothing yet", "", false, 0},
      {"a part of a head", "GET /metrics HTTP/1.1\r\nHost: x\r\n", false, 0},
      {"metrics", "GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n", true, 200},
      {"metrics of old", "GET /metrics HTTP/1.0\r\n\r\n", true, 200},
      {"metrics with a query", "GET /metrics?x=y HTTP/1.1\r\n\r\n", true, 200},
      {"something else", "GET / HTTP/1.1\r\n\r\n", true, 404},
      {"something below", "GET /metrics/x HTTP/1.1\r\n\r\n", true, 404},
      {"a change", "POST /metrics HTTP/1.1\r\n\r\n", true, 405},
      {"no version", "GET /metrics\r\n\r\n", true, 400},
      {"no words", "GET\r\n\r\n", true, 400},
      {"blanks", "  \r\n\r\n", true, 400},
      {"another protocol", "GET /metrics GOPHER\r\n\r\n", true, 400},
      {"a head without end", std::string(5000, 'x'), true, 400},
  };
  for (const auto& each : cases) {
    const MetricsAnswer answer = answerTo(each.request);
    EXPECT_EQ(answer.complete, each.complete) << each.name;
    EXPECT_EQ(answer.status, each.status) << each.name;
  }
}

}  // namespace
}  // namespace HOQ::agent
