// The agent's identity and its status as the platform's application
// control shows it: start-up reports "Non-operational" and then
// "Operational"; the firmware flows report their progress.
#pragma once

// Application identity reported to the platform's application control.
inline constexpr const char *kAppName = "Veltrum";
inline constexpr const char *kAppVersion = "1.0.3.118";
// Application-control status texts, by index. Start-up uses 0 and 1; the
// firmware-update resources use the others.
enum AppStatus {
  APP_STATUS_OPERATIONAL = 0,
  APP_STATUS_NON_OPERATIONAL = 1,
  APP_STATUS_FW_UPDATE_NONE = 2,
  APP_STATUS_FW_UPDATE_IN_PROGRESS = 3,
  APP_STATUS_FW_DOWNLOAD_STARTED = 4,
  APP_STATUS_FW_DOWNLOAD_TIMED_OUT = 5,
  APP_STATUS_FW_DOWNLOAD_FAILED = 6,
  APP_STATUS_FW_DOWNLOAD_SUCCESS = 7,
  APP_STATUS_FW_UPGRADE_STARTED = 8,
  APP_STATUS_FW_UPGRADE_FAILED = 9,
  APP_STATUS_FW_UPGRADE_SUCCESS = 10,
  APP_STATUS_FW_UPGRADE_OPEN_API_FAILED = 11,
  APP_STATUS_COUNT
};

// The text of a status index, or null outside the table.
const char *app_status_text(int index);

// Reports the application's status text to the platform. A refusal is
// logged (level 7) and otherwise ignored; an index outside the table does
// nothing.
void set_app_status(int index);
