// The check for a newer version: an HTTP GET of a location that answers with an XML property
// list, a dictionary with the newest version and where to get it.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QProgressBar>
#include <QString>
#include <QUrl>

#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

namespace kestrabel::app {

// The property list's keys.
inline constexpr char kUpdateVersionKey[] = "Version";
inline constexpr char kUpdateDetailKey[] = "Detail";
inline constexpr char kUpdateDownloadLocationKey[] = "DownloadLocation";
inline constexpr char kUpdateInformationLocationKey[] = "InformationLocation";

// Error codes of the check besides 0; a network failure gives its QNetworkReply::NetworkError, an
// HTTP failure its status code.
inline constexpr int kUpdateCheckErrNoLocation = -1;
inline constexpr int kUpdateCheckErrBadAnswer = -2;

class ProductUpdateResponse {
public:
    // Null when the bytes are no property list or hold no version.
    static std::optional<ProductUpdateResponse> fromPropertyList(const QByteArray &bytes,
                                                                 const QString &runningVersion);

    bool isNewerVersionAvailable() const { return newer_; }
    QString versionString() const { return version_; }
    // Each may be null.
    QString detailString() const { return detail_; }
    QUrl downloadLocation() const { return download_; }
    QUrl informationLocation() const { return information_; }

private:
    bool newer_ = false;
    QString version_;
    QString detail_;
    QUrl download_;
    QUrl information_;
};

class ProductUpdateCheck;

class ProductUpdateCheckDelegate {
public:
    virtual ~ProductUpdateCheckDelegate() = default;
    virtual void productUpdateCheckComplete(ProductUpdateCheck *check, int error,
                                            const std::optional<ProductUpdateResponse> &response) = 0;
};

class ProductUpdateCheck : public QObject {
    Q_OBJECT
public:
    ProductUpdateCheck(const QString &targetLocation, ProductUpdateCheckDelegate *delegate,
                       QProgressBar *progressIndicator = nullptr, QObject *parent = nullptr);
    ~ProductUpdateCheck() override;

    // With no usable location nothing is requested and the delegate hears kUpdateCheckErrNoLocation.
    void start();
    bool isRunning() const { return reply_ != nullptr; }

    static QString runningVersion();

private:
    void finished();

    QUrl target_;
    ProductUpdateCheckDelegate *delegate_;
    QPointer<QProgressBar> progress_;
    QNetworkAccessManager *network_;
    QNetworkReply *reply_ = nullptr;
};

// The launch rule: due when the last check is 30 whole days old, or when it was exactly now (no
// check before). A clock set back makes the interval negative: not due.
bool updateCheckIsDue(const QDateTime &now, const QDateTime &lastCheck);

} // namespace kestrabel::app
