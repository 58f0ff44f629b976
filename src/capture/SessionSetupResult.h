#pragma once

#include <QString>

// The outcome of opening and configuring the capture devices. On Linux a
// device the system refuses to open (a permission error on the device node,
// a portal refusal) is `notAuthorized`.
enum class SessionSetupResult { success, notAuthorized, configurationFailed };

// The text shown for a failed setup; empty for success.
QString sessionSetupResultText(SessionSetupResult result);
