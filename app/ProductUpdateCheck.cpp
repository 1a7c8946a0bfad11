#include "ProductUpdateCheck.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QVersionNumber>

#include <plist/plist.h>

#include <cstdlib>
#include <memory>

namespace kestrabel::app {

namespace {

// An answer is a few hundred bytes; anything far larger is not ours.
constexpr qint64 kLargestAnswer = 256 * 1024;
constexpr int kTimeoutMilliseconds = 30000;
constexpr qint64 kSecondsPerDay = 86400;
constexpr qint64 kDaysBetweenChecks = 30;

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QString stringItem(plist_t dictionary, const char *key)
{
    plist_t node = plist_dict_get_item(dictionary, key);
    if (!node || plist_get_node_type(node) != PLIST_STRING)
        return {};
    char *value = nullptr;
    plist_get_string_val(node, &value);
    if (!value)
        return {};
    QString text = QString::fromUtf8(value);
    std::free(value);
    return text;
}

QUrl locationItem(plist_t dictionary, const char *key)
{
    const QString text = stringItem(dictionary, key);
    if (text.isEmpty())
        return {};
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() ? url : QUrl();
}

} // namespace

std::optional<ProductUpdateResponse> ProductUpdateResponse::fromPropertyList(const QByteArray &bytes,
                                                                           const QString &runningVersion)
{
    if (bytes.isEmpty() || bytes.size() > kLargestAnswer)
        return std::nullopt;
    plist_t parsed = nullptr;
    plist_from_xml(bytes.constData(), static_cast<uint32_t>(bytes.size()), &parsed);
    const PlistPtr root(parsed);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;

    ProductUpdateResponse response;
    response.version_ = stringItem(root.get(), kUpdateVersionKey).trimmed();
    const QVersionNumber offered = QVersionNumber::fromString(response.version_);
    if (offered.isNull())
        return std::nullopt;
    response.detail_ = stringItem(root.get(), kUpdateDetailKey);
    response.download_ = locationItem(root.get(), kUpdateDownloadLocationKey);
    response.information_ = locationItem(root.get(), kUpdateInformationLocationKey);
    response.newer_ = offered > QVersionNumber::fromString(runningVersion);
    return response;
}

ProductUpdateCheck::ProductUpdateCheck(const QString &targetLocation, ProductUpdateCheckDelegate *delegate,
                                       QProgressBar *progressIndicator, QObject *parent)
    : QObject(parent),
      target_(targetLocation.trimmed(), QUrl::StrictMode),
      delegate_(delegate),
      progress_(progressIndicator),
      network_(new QNetworkAccessManager(this))
{
}

ProductUpdateCheck::~ProductUpdateCheck()
{
    if (reply_) {
        reply_->disconnect(this);
        reply_->abort();
        reply_->deleteLater();
    }
}

QString ProductUpdateCheck::runningVersion()
{
    return QStringLiteral(KESTRABEL_VERSION);
}

void ProductUpdateCheck::start()
{
    if (reply_)
        return;
    const QString scheme = target_.scheme().toLower();
    if (!target_.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https"))) {
        if (delegate_)
            delegate_->productUpdateCheckComplete(this, kUpdateCheckErrNoLocation, std::nullopt);
        return;
    }
    QNetworkRequest request(target_);
    request.setTransferTimeout(kTimeoutMilliseconds);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Kestrabel/%1").arg(runningVersion()));
    reply_ = network_->get(request);
    if (progress_) {
        progress_->setRange(0, 0);
        progress_->show();
    }
    connect(reply_, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64) {
        if (received > kLargestAnswer && reply_)
            reply_->abort();
    });
    connect(reply_, &QNetworkReply::finished, this, &ProductUpdateCheck::finished);
}

void ProductUpdateCheck::finished()
{
    QNetworkReply *reply = reply_;
    reply_ = nullptr;
    reply->deleteLater();
    if (progress_)
        progress_->hide();

    int error = 0;
    std::optional<ProductUpdateResponse> response;
    const int httpStatus = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError) {
        error = httpStatus >= 400 ? httpStatus : static_cast<int>(reply->error());
    } else {
        response = ProductUpdateResponse::fromPropertyList(reply->read(kLargestAnswer + 1), runningVersion());
        if (!response)
            error = kUpdateCheckErrBadAnswer;
    }
    if (delegate_)
        delegate_->productUpdateCheckComplete(this, error, response);
}

bool updateCheckIsDue(const QDateTime &now, const QDateTime &lastCheck)
{
    const qint64 milliseconds = lastCheck.msecsTo(now);
    const double interval = static_cast<double>(milliseconds) / 1000.0;
    const auto days = static_cast<qint64>(interval / static_cast<double>(kSecondsPerDay));
    return !(days < kDaysBetweenChecks && interval != 0.0);
}

} // namespace kestrabel::app
