#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <grpc/reflection/v1alpha/reflection.grpc.pb.h>

#include <set>
#include <string>

#include "server/Services.h"

namespace HOQ::transport {
namespace {

namespace wire = grpc::reflection::v1alpha;
using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using Reactor =
    grpc::ServerBidiReactor<wire::ServerReflectionRequest, wire::ServerReflectionResponse>;

constexpr const char* kServices[] = {"hoq.v1.Agent", "hoq.v1.Filer", "hoq.v1.Haul",
                                     "grpc.health.v1.Health",
                                     "grpc.reflection.v1alpha.ServerReflection"};

void fail(wire::ServerReflectionResponse& response, grpc::StatusCode code, const char* text) {
  response.mutable_error_response()->set_error_code(code);
  response.mutable_error_response()->set_error_message(text);
}

/// A file and what it imports, each once.
void add(const FileDescriptor& file, std::set<const FileDescriptor*>& seen,
         wire::FileDescriptorResponse& response) {
  if (!seen.insert(&file).second) return;
  google::protobuf::FileDescriptorProto proto;
  file.CopyTo(&proto);
  *response.add_file_descriptor_proto() = proto.SerializeAsString();
  for (int i = 0; i < file.dependency_count(); ++i) add(*file.dependency(i), seen, response);
}

void describe(const FileDescriptor* file, wire::ServerReflectionResponse& response) {
  if (file == nullptr) return fail(response, grpc::StatusCode::NOT_FOUND, "not found");
  std::set<const FileDescriptor*> seen;
  add(*file, seen, *response.mutable_file_descriptor_response());
}

void answer(const wire::ServerReflectionRequest& request,
            wire::ServerReflectionResponse& response) {
  const DescriptorPool& pool = *DescriptorPool::generated_pool();
  response.set_valid_host(request.host());
  *response.mutable_original_request() = request;
  switch (request.message_request_case()) {
    case wire::ServerReflectionRequest::kListServices:
      for (const char* name : kServices)
        response.mutable_list_services_response()->add_service()->set_name(name);
      return;
    case wire::ServerReflectionRequest::kFileByFilename:
      return describe(pool.FindFileByName(request.file_by_filename()), response);
    case wire::ServerReflectionRequest::kFileContainingSymbol:
      return describe(pool.FindFileContainingSymbol(request.file_containing_symbol()), response);
    case wire::ServerReflectionRequest::kFileContainingExtension:
    case wire::ServerReflectionRequest::kAllExtensionNumbersOfType:
      return fail(response, grpc::StatusCode::NOT_FOUND, "there are no extensions");
    case wire::ServerReflectionRequest::MESSAGE_REQUEST_NOT_SET:
      break;
  }
  fail(response, grpc::StatusCode::INVALID_ARGUMENT, "not a request");
}

/// Answers one question after the other. Deletes itself.
class ReflectionCall final : public Reactor {
 public:
  ReflectionCall() { StartRead(&request_); }

  void OnReadDone(bool ok) override {
    if (!ok) return Finish(grpc::Status::OK);
    response_.Clear();
    answer(request_, response_);
    StartWrite(&response_);
  }
  void OnWriteDone(bool ok) override {
    if (!ok) return Finish(grpc::Status::CANCELLED);
    StartRead(&request_);
  }
  void OnDone() override { delete this; }

 private:
  wire::ServerReflectionRequest request_;
  wire::ServerReflectionResponse response_;
};

class ReflectionService final : public wire::ServerReflection::CallbackService {
 public:
  Reactor* ServerReflectionInfo(grpc::CallbackServerContext*) override {
    return new ReflectionCall;
  }
};

}  // namespace

std::unique_ptr<grpc::Service> makeReflectionService() {
  return std::make_unique<ReflectionService>();
}

}  // namespace HOQ::transport
