// System uptime in whole seconds, the time base of sessions and jobs.
//
// Read with sysinfo(). Under a development device root (not "/") the file
// "<root>/run/uptime-offset", when present, holds a number of seconds added
// to the reading: tests move the agent's clock forward without sleeping. On
// a switch the file is never consulted.
#pragma once

long get_uptime();
