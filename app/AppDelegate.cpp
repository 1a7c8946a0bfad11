#include "AppDelegate.h"

#include "ControlWindowController.h"
#include "CustomWindow.h"
#include "Images.h"
#include "LocalizedStrings.h"
#include "Preferences.h"
#include "PreferencesWindowController.h"

#include "PlayerConnection.h"
#include "PlayerRefresh.h"
#include "TextUtilities.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <QtDebug>

namespace kestrabel::app {

namespace {

QWidget *createAboutBox()
{
    auto *box = new QWidget(nullptr, Qt::Dialog);
    box->setObjectName(QStringLiteral("AboutBox"));
    box->setWindowTitle(QObject::tr("About Kestrabel"));
    auto *layout = new QVBoxLayout(box);
    auto *icon = new QLabel(box);
    icon->setPixmap(imageNamed(QStringLiteral("kestrabel"), QSize(96, 96)));
    icon->setAlignment(Qt::AlignCenter);
    auto *text = new QLabel(box);
    text->setAlignment(Qt::AlignCenter);
    text->setWordWrap(true);
    text->setText(QObject::tr("<h2>Kestrabel %1</h2>"
                              "<p>Shows the track your music player is playing and writes your changes "
                              "to its title, artist, album and genre into the file itself.</p>")
                      .arg(ProductUpdateCheck::runningVersion()));
    auto *close = new QPushButton(QObject::tr("OK"), box);
    QObject::connect(close, &QPushButton::clicked, box, &QWidget::hide);
    layout->addWidget(icon);
    layout->addWidget(text);
    layout->addWidget(close, 0, Qt::AlignCenter);
    box->setFixedWidth(360);
    box->adjustSize();
    return box;
}

void centre(QWidget *window)
{
    if (const QScreen *screen = window->screen()) {
        const QRect area = screen->availableGeometry();
        window->move(area.center() - QPoint(window->width() / 2, window->height() / 2));
    }
}

} // namespace

AppDelegate::AppDelegate(player::PlayerConnection &player, QObject *parent, bool threadedPlayer)
    : QObject(parent), _player(player), _threadedPlayer(threadedPlayer)
{
    if (const MediaFileStatus status = initializeTextUtilities(); status != 0)
        qWarning("Error intialize CFStringUtilities: 0x%x", static_cast<unsigned>(status));
    registerPreferenceDefaults();
    // Only a scripted player has a library to refresh; the MPRIS connection may by then live on
    // the window's player thread, where nothing else may touch it.
    if (!threadedPlayer)
        installPlayerRefresh([this](const QString &path) { _player.refreshTrackAtPath(path); });
}

AppDelegate::~AppDelegate()
{
    installPlayerRefresh({});
    delete _aboutBox;
    delete _updateAlert;
}

void AppDelegate::applicationDidFinishLaunching()
{
    _mainController = std::make_unique<ControlWindowController>(_player, nullptr, _threadedPlayer);
    connect(_mainController.get(), &ControlWindowController::createWindowRequested, this, &AppDelegate::createWindow);
    connect(_mainController.get(), &ControlWindowController::helpRequested, this, &AppDelegate::showHelpFile);
    connect(_mainController.get(), &ControlWindowController::quitRequested, qApp, &QCoreApplication::quit,
            Qt::QueuedConnection);
    connect(qApp, &QCoreApplication::aboutToQuit, _mainController.get(), &ControlWindowController::close);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive)
            applicationDidBecomeActive();
    });
    _mainController->showWindow();

    if (UserDefaults::boolForKey(QLatin1String(kDontCheckForUpdatesKey)))
        return;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime last = UserDefaults::dateForKey(QLatin1String(kLastUpdateCheckTimeKey), now);
    if (!updateCheckIsDue(now, last))
        return;
    UserDefaults::setObject(now, QLatin1String(kLastUpdateCheckTimeKey));
    const QString location = UserDefaults::stringForKey(QLatin1String(kVersionCheckLocationKey),
                                                        localizedString("kVersionCheckLocationKey"));
    _productUpdateCheck = std::make_unique<ProductUpdateCheck>(location, this);
    _productUpdateCheck->start();
}

void AppDelegate::applicationDidBecomeActive()
{
    if (!_mainController)
        return;
    QWidget *window = _mainController->window();
    if (QApplication::activeWindow() != window && !_mainController->isWindowVisible())
        _mainController->startWindowMovingIntoView(true);
}

void AppDelegate::toggleWindowVisibility()
{
    if (_mainController)
        _mainController->toggleWindowVisibility();
}

void AppDelegate::createWindow(int tag)
{
    if (tag == kMenuTagPreferences) {
        auto *preferences = new PreferencesWindowController;
        preferences->showWindow();
    } else if (tag == kMenuTagAbout) {
        if (!_aboutBox)
            _aboutBox = createAboutBox();
        centre(_aboutBox);
        _aboutBox->show();
        _aboutBox->raise();
        _aboutBox->activateWindow();
    }
}

QString AppDelegate::helpFilePath()
{
    const QString name = QStringLiteral("UserGuide.html");
    const QDir binary(QCoreApplication::applicationDirPath());
    const QStringList candidates{
        binary.filePath(QStringLiteral("../share/kestrabel/") + name),
        binary.filePath(name),
        QStringLiteral(KESTRABEL_DOCS_DIR "/") + name,
    };
    for (const QString &candidate : candidates) {
        if (QFileInfo(candidate).isFile())
            return QFileInfo(candidate).canonicalFilePath();
    }
    return {};
}

bool AppDelegate::showHelpFile()
{
    const QString path = helpFilePath();
    if (path.isEmpty()) {
        qWarning("failed to find the help file for this localization!");
        return false;
    }
    return QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

void AppDelegate::productUpdateCheckComplete(ProductUpdateCheck *check, int error,
                                             const std::optional<ProductUpdateResponse> &response)
{
    if (error == 0 && response && response->isNewerVersionAvailable())
        _updateAlert = showUpdateAlert(*response);
    if (check == _productUpdateCheck.get())
        _productUpdateCheck.release()->deleteLater();
}

QMessageBox *showUpdateAlert(const ProductUpdateResponse &response, QWidget *sheetWindow,
                             std::function<void(QMessageBox::ButtonRole)> onResult)
{
    auto *alert = new QMessageBox(sheetWindow);
    alert->setObjectName(QStringLiteral("UpdateAlert"));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setIcon(QMessageBox::Information);
    alert->setWindowTitle(QStringLiteral("Kestrabel"));
    alert->setText(localizedString("kNewVersionAvailableKey").arg(response.versionString()));
    alert->setInformativeText(response.detailString().isNull() ? QString(QLatin1String("")) : response.detailString());
    QPushButton *download = alert->addButton(localizedString("kDownloadButtonTitle"), QMessageBox::AcceptRole);
    QPushButton *information =
        alert->addButton(localizedString("kMoreInformationButtonTitle"), QMessageBox::ActionRole);
    alert->addButton(localizedString("kCancelKey"), QMessageBox::RejectRole);
    alert->setDefaultButton(download);

    const QUrl downloadLocation = response.downloadLocation();
    const QUrl informationLocation = response.informationLocation();
    QObject::connect(alert, &QMessageBox::buttonClicked, alert,
                     [alert, download, information, downloadLocation, informationLocation,
                      onResult](QAbstractButton *button) {
                         if (button == download && downloadLocation.isValid())
                             QDesktopServices::openUrl(downloadLocation);
                         else if (button == information && informationLocation.isValid())
                             QDesktopServices::openUrl(informationLocation);
                         if (onResult)
                             onResult(alert->buttonRole(button));
                     });
    if (sheetWindow) {
        alert->setWindowModality(Qt::WindowModal);
        alert->open();
    } else {
        alert->show();
    }
    return alert;
}

} // namespace kestrabel::app
