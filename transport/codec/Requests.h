#pragma once

#include <string>
#include <vector>

#include <hoq/HOQFileFilter.h>
#include <hoq/HOQRequestErrorData.h>
#include <hoq/HOQRequestProgressData.h>
#include <hoq/HOQUserCredentials.h>

namespace hoq::v1 {
class Credentials;
class ErrorRecord;
class FileFilter;
class ProgressRecord;
}  // namespace hoq::v1

namespace HOQ::transport {

// The framework's records to the wire, and back.

void toWire(const HOQUserCredentials& credentials, hoq::v1::Credentials& out);
HOQUserCredentials fromWire(const hoq::v1::Credentials& in);

void toWire(const HOQFileFilter& filter, hoq::v1::FileFilter& out);
HOQFileFilter fromWire(const hoq::v1::FileFilter& in);

void toWire(const HOQRequestErrorData& error, hoq::v1::ErrorRecord& out);
HOQRequestErrorData fromWire(const hoq::v1::ErrorRecord& in);

void toWire(const HOQRequestProgressData& progress, hoq::v1::ProgressRecord& out);
HOQRequestProgressData fromWire(const hoq::v1::ProgressRecord& in);

}  // namespace HOQ::transport
