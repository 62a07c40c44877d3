#pragma once

/// Marks what libhoqframework and the code that loads into it share. Everything else is hidden.
/// Templates that carry process-wide state are marked as well, so that a plugin and its host
/// meet the same instance.
#define HOQ_EXPORT __attribute__((visibility("default")))
