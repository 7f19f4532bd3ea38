#pragma once

#include <QString>

namespace velmora::testing {

/// Sets what `configuration::apiBaseUrl()` answers in this test.
void setApiBaseUrl(const QString &url);

} // namespace velmora::testing
