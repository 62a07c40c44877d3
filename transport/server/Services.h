#pragma once

#include <grpcpp/impl/service_type.h>

#include <memory>

#include "server/Ledger.h"
#include "server/Pool.h"

namespace HOQ::transport {

/// Where the caller's connection came from, in the words of gRPC: see tls/PlainName.h.
std::string callerAddress(const std::string& peer);

// The services, as the server registers them. The pools outlive them.
std::unique_ptr<grpc::Service> makeFilerService(std::shared_ptr<Ledger> ledger, Pool& operations);
std::unique_ptr<grpc::Service> makeHaulService(std::shared_ptr<Ledger> ledger, Pool& transfers);
std::unique_ptr<grpc::Service> makeAgentService(std::shared_ptr<Ledger> ledger);
std::unique_ptr<grpc::Service> makeReflectionService();

}  // namespace HOQ::transport
