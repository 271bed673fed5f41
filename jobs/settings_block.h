// The agent settings block: the web front end's settings, which are not part
// of the platform's configuration, written as "!" comment lines at the head
// of an exported startup configuration and read back from a downloaded one.
//
//   !Switch Veltrum Configuration:
//   !ip http server            (or "!no ip http server")
//   !ip http port 80
//   !ip http secure server     (or "!no ip http secure server")
//   !ip http secure port 443
//   !ip http session maxsessions 4
//   !ip http session soft_timeout 5
//   !ip http session hard_timeout 24
//   !ip http language en
//   !ip http theme system
//   !Switch Veltrum Configuration End
//
// Paths are host paths: callers resolve device paths with device_path().
#pragma once

#include "support/agent_config.h"

// Writes the export staging file `staging`: the block of `cfg`, then every
// line of the startup configuration `startup`. 0, or -1 (logged) when a
// file cannot be opened.
int write_export_staging(const AgentConfig &cfg, const char *startup, const char *staging);

// Copies `path` to `out` without its block: the lines after the one that
// holds the end marker. A file without an end marker is copied whole (it
// has no block). 0 or -1 (logged).
int remove_settings_block(const char *path, const char *out);

// Reads the block's lines of `path` into `cfg` and stores the result with
// dump_agent_config. A line is matched by its words, compared by their
// leading characters ("!ip http port 8080" sets the HTTP port). A value the
// "http_config" checks would refuse is skipped (logged), as is a result with
// both listeners off, which keeps the listener states `cfg` had. A file
// without a block leaves the settings as they were. 0 or -1 (logged) when
// the file cannot be opened.
int read_settings_block(const char *path, AgentConfig *cfg);
