#include "codec/Requests.h"

#include <hoq/v1/records.pb.h>

#include <type_traits>

namespace HOQ::transport {

namespace wire = hoq::v1;

void toWire(const HOQUserCredentials& credentials, wire::Credentials& out) {
  out.set_name(credentials.name);
  if (credentials.uid != HOQUserCredentials::kNone) out.set_uid(credentials.uid);
  for (const std::string& group : credentials.groups) out.add_groups(group);
  for (const std::uint32_t gid : credentials.gids) out.add_gids(gid);
  out.set_umask(credentials.umask);
}

HOQUserCredentials fromWire(const wire::Credentials& in) {
  HOQUserCredentials credentials(in.has_uid() ? in.uid() : HOQUserCredentials::kNone,
                                 HOQUserCredentials::kNone);
  credentials.name = in.name();
  credentials.groups.assign(in.groups().begin(), in.groups().end());
  credentials.gids.assign(in.gids().begin(), in.gids().end());
  credentials.umask = in.umask();
  return credentials;
}

void toWire(const HOQFileFilter& filter, wire::FileFilter& out) {
  out.set_type(filter.type);
  out.set_user_pattern(filter.userPattern);
  out.set_uid(filter.uid);
  out.set_uid_min(filter.uidMin);
  out.set_uid_max(filter.uidMax);
  out.set_group_pattern(filter.groupPattern);
  out.set_gid(filter.gid);
  out.set_gid_min(filter.gidMin);
  out.set_gid_max(filter.gidMax);
  out.set_time_min(filter.timeMin);
  out.set_time_max(filter.timeMax);
  out.set_size_min(filter.sizeMin);
  out.set_size_max(filter.sizeMax);
  out.set_name_pattern(filter.namePattern);
  out.set_valid(filter.valid);
}

HOQFileFilter fromWire(const wire::FileFilter& in) {
  HOQFileFilter filter;
  filter.type = in.type();
  filter.userPattern = in.user_pattern();
  filter.uid = in.uid();
  filter.uidMin = in.uid_min();
  if (in.has_uid_max()) filter.uidMax = in.uid_max();
  filter.groupPattern = in.group_pattern();
  filter.gid = in.gid();
  filter.gidMin = in.gid_min();
  if (in.has_gid_max()) filter.gidMax = in.gid_max();
  filter.timeMin = in.time_min();
  filter.timeMax = in.time_max();
  filter.sizeMin = in.size_min();
  filter.sizeMax = in.size_max();
  filter.namePattern = in.name_pattern();
  filter.valid = in.valid();
  return filter;
}

void toWire(const HOQRequestErrorData& error, wire::ErrorRecord& out) {
  out.set_code(error.code);
  out.set_message(error.message);
}

HOQRequestErrorData fromWire(const wire::ErrorRecord& in) { return {in.code(), in.message()}; }

void toWire(const HOQRequestProgressData& progress, wire::ProgressRecord& out) {
  out.set_status(progress.status);
  out.set_operation(progress.operation);
  out.set_percent(progress.percent);
  for (const HOQRequestProgressData::Parameter& parameter : progress.parameters) {
    wire::ProgressRecord::Parameter& to = *out.add_parameters();
    to.set_name(parameter.name);
    if (const auto* text = std::get_if<std::string>(&parameter.value))
      to.set_text(*text);
    else if (const auto* number = std::get_if<std::uint64_t>(&parameter.value))
      to.set_number64(*number);
    else
      to.set_number32(std::get<std::uint32_t>(parameter.value));
  }
}

HOQRequestProgressData fromWire(const wire::ProgressRecord& in) {
  HOQRequestProgressData progress(in.status());
  progress.operation = in.operation();
  progress.percent = in.percent();
  for (const wire::ProgressRecord::Parameter& from : in.parameters()) {
    HOQRequestProgressData::Value value = from.number32();
    if (from.has_text()) value = from.text();
    if (from.has_number64()) value = std::uint64_t{from.number64()};
    progress.parameters.push_back({from.name(), std::move(value)});
  }
  return progress;
}

}  // namespace HOQ::transport
