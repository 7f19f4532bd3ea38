#pragma once

#include <QString>

namespace velmora::testing {

/// Sets what `configuration::apiBaseUrl()` answers in this test.
inline void setApiBaseUrl(const QString &url)
{
    qputenv("VELMORA_TEST_API", url.toUtf8());
}

} // namespace velmora::testing
