#pragma once

/// Null where the system's watches are those of WatchKey()'s description; else why those tests must be left out that
/// need a change which this system does not tell. Wine is such a system: it passes over equal values, changes between
/// two watches, and the end of the key itself.
const char* WhyChangesAreMissed();
