#pragma once

namespace HOQ {

// What Filer operations return beside 0; the routine's mkdir returns kTargetExists as well.
constexpr int kFailed = -1;  // told in an error record; list and stat: no path processed
constexpr int kAccessRefused = 414;
constexpr int kNotProvided = 424;
constexpr int kNoRoutine = 2002;  // or the working directory or a path cannot be resolved
constexpr int kTargetExists = 2055;
constexpr int kPathFailed = 2056;  // the walk stopped at a path; later ones are untouched

// What a transfer to another node returns beside its stages' codes: negative, so that the record
// of the item carries them as they stand.
constexpr int kNodeUnreachable = -1003;  // it cannot be reached, or does not trust us, or we it
constexpr int kNodeRefused = -1414;      // it answered 414

/// The number under which list and stat answer.
constexpr int kFileTypesTag = 1161;

}  // namespace HOQ
