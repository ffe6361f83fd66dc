#include "UpdatesHelper.h"

#include "services/JSON/SBJSON.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStringDecoder>
#include <QTimer>

#include <memory>

namespace {

const QString NoInternetConnectionMessage = QStringLiteral(
    "We could not check for updates because your computer is not connected to the internet.");
const QString UrlNotFoundOrDataMalformedMessage = QStringLiteral(
    "The update server did not respond or the data it sent was malformed. It may be down or busy so please try "
    "again later.");

// An answer from the server whose status says it failed; its body, if any, is
// still what the server sent.
bool isHttpStatusError(QNetworkReply::NetworkError error)
{
    return (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError)
        || (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError);
}

std::optional<QString> decodeUtf8(const QByteArray &body)
{
    QStringDecoder decoder(QStringConverter::Utf8);
    QString text = decoder.decode(body);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

QVariantMap failure(QLatin1StringView errorType, const QString &errorMessage)
{
    return {{UpdatesHelperKey::Success, false},
            {UpdatesHelperKey::ResultDictionary, QVariant::fromValue(nullptr)},
            {UpdatesHelperKey::ErrorMessage, errorMessage},
            {UpdatesHelperKey::ErrorType, QString(errorType)}};
}

QVariantMap success(const QVariant &value)
{
    return {{UpdatesHelperKey::Success, true},
            {UpdatesHelperKey::ResultDictionary, value},
            {UpdatesHelperKey::ErrorMessage, QString()},
            {UpdatesHelperKey::ErrorType, QVariant::fromValue(nullptr)}};
}

} // namespace

QVariantMap UpdatesHelper::fetchJSONValueForURL(const QUrl &url, std::chrono::milliseconds timeout)
{
    const std::optional<QString> text = loadText(url, timeout);
    if (!text)
        return failure(UpdatesHelperErrorType::NoInternetConnection, NoInternetConnectionMessage);
    const QVariant value = SBJSON::JSONValue(*text);
    if (!value.isValid())
        return failure(UpdatesHelperErrorType::UrlNotFoundOrDataMalformed, UrlNotFoundOrDataMalformedMessage);
    return success(value);
}

QVariantMap UpdatesHelper::fetchUpdateInformationFromURL(const QUrl &url, std::chrono::milliseconds timeout)
{
    return fetchJSONValueForURL(url, timeout);
}

QUrl UpdatesHelper::updateFeedURL()
{
    const QUrl configured(
        UserDefaults::standardUserDefaults()->objectForKey(UserDefaultsKeys::UpdateFeedURL).toString(),
        QUrl::StrictMode);
    const bool usable = configured.isValid() && !configured.host().isEmpty()
        && (configured.scheme() == u"http" || configured.scheme() == u"https");
    return usable ? configured : QUrl(DefaultUpdateFeedURL);
}

std::optional<QString> UpdatesHelper::loadText(const QUrl &url, std::chrono::milliseconds timeout)
{
    QNetworkAccessManager manager;
    const std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(url)));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    // A bound on the whole load, not only on a silence between bytes.
    QTimer::singleShot(timeout, reply.get(), &QNetworkReply::abort);
    if (!reply->isFinished())
        loop.exec(QEventLoop::ExcludeUserInputEvents);

    const QNetworkReply::NetworkError error = reply->error();
    if (error != QNetworkReply::NoError && !isHttpStatusError(error))
        return std::nullopt;
    const QByteArray body = reply->readAll();
    if (error != QNetworkReply::NoError && body.isEmpty())
        return std::nullopt;
    return decodeUtf8(body);
}
