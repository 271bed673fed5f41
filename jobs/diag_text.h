// Helpers shared by the diagnostics handlers (jobs/diagnostics.cpp,
// jobs/probe.cpp).
#pragma once

namespace veltrum::jobs {

// The handler's message: formatted into last_error_text (never sent to the
// client) and logged at level 4.
void message(const char *format, ...) __attribute__((format(printf, 1, 2)));

// A host text a probe may be given: an IPv4 address, an IPv6 address or a
// host name. Anything else (an option such as "-f", an empty text) is not.
bool host_text_ok(const char *text);

}  // namespace veltrum::jobs
