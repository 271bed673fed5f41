// System uptime in whole seconds, the time base of sessions and jobs.
//
// The value sysinfo() reports, read from its clock (CLOCK_BOOTTIME). Under
// a development device root (not "/") the file "<root>/run/uptime-offset"
// holds a number of seconds added to the reading: tests move the agent's
// clock forward without sleeping. The file is consulted only when it exists
// at the first reading under that root (tests create it before the agent
// starts); on a switch it never is.
#pragma once

long get_uptime();
