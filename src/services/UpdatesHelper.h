#pragma once

#include <QLatin1StringView>
#include <QUrl>
#include <QVariantMap>

#include <chrono>
#include <optional>

// Keys of the fetch result.
namespace UpdatesHelperKey {

inline constexpr QLatin1StringView Success{"success"};
// The parsed JSON value, or null on failure.
inline constexpr QLatin1StringView ResultDictionary{"resultDictionary"};
// Empty on success.
inline constexpr QLatin1StringView ErrorMessage{"errorMessage"};
// Null on success, else one of UpdatesHelperErrorType.
inline constexpr QLatin1StringView ErrorType{"errorType"};

} // namespace UpdatesHelperKey

namespace UpdatesHelperErrorType {

// No text at all: no connection, no such host, time-out, an HTTP error
// without a body, or a body that is not UTF-8.
inline constexpr QLatin1StringView NoInternetConnection{"noInternetConnection"};
// Text came, but it is not JSON.
inline constexpr QLatin1StringView UrlNotFoundOrDataMalformed{"urlNotFoundOrDataMalformed"};

} // namespace UpdatesHelperErrorType

inline constexpr QLatin1StringView DefaultUpdateFeedURL{"https://cascader.app/cascader/appcasts/updates.php"};

// Loads the update feed. Stateless; the calls block, so make them off the GUI thread.
class UpdatesHelper
{
public:
    static constexpr std::chrono::milliseconds DefaultTimeout{15000};

    // Loads the JSON document at url with a plain GET on the calling thread,
    // giving up after timeout. Never fails otherwise.
    static QVariantMap fetchJSONValueForURL(const QUrl &url, std::chrono::milliseconds timeout = DefaultTimeout);
    // The update check's entry point; the same as fetchJSONValueForURL.
    static QVariantMap fetchUpdateInformationFromURL(const QUrl &url,
                                                     std::chrono::milliseconds timeout = DefaultTimeout);

    // The user default UserDefaultsKeys::UpdateFeedURL when it is an HTTP(S)
    // address, else DefaultUpdateFeedURL.
    static QUrl updateFeedURL();

private:
    // The body as text; nothing when the load failed or the body is not UTF-8.
    static std::optional<QString> loadText(const QUrl &url, std::chrono::milliseconds timeout);
};
