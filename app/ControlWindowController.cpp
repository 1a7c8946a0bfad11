#include "ControlWindowController.h"

#include "AutoSave.h"
#include "CustomWindow.h"
#include "FieldEditingMonitor.h"
#include "GenreComboBox.h"
#include "Images.h"
#include "Preferences.h"
#include "RatingControl.h"

#include "PlayerWorker.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

namespace kestrabel::app {

namespace {

constexpr int kArtworkSide = 136;
constexpr int kTransportIconSide = 26;
constexpr int kPlayPauseIconSide = 34;

constexpr char kWindowStyleSheet[] = R"(
QWidget { color: #e8e8ec; font-size: 10pt; }
QLabel#fieldLabel { color: #9aa0ad; }
QLabel#_labelStatus { color: #f0a33a; }
QLineEdit, QComboBox {
    background: rgba(255, 255, 255, 22); border: 1px solid rgba(255, 255, 255, 30);
    border-radius: 4px; padding: 2px 5px; selection-background-color: #c8702b;
}
QLineEdit:focus, QComboBox:focus { border: 1px solid #f0a33a; }
QLineEdit:disabled, QComboBox:disabled { color: #70757f; }
QComboBox QAbstractItemView { background: #2c3038; color: #e8e8ec; selection-background-color: #c8702b; }
QToolButton { border: none; border-radius: 4px; padding: 2px; }
QToolButton:hover, QToolButton:focus { background: rgba(255, 255, 255, 30); }
QToolButton::menu-indicator { image: none; }
QPushButton { background: rgba(240, 163, 58, 200); color: #1d1f24; border-radius: 4px; padding: 3px 12px; }
QPushButton:disabled { background: rgba(255, 255, 255, 25); color: #70757f; }
)";

QToolButton *transportButton(QWidget *parent, const char *name, const QString &image, int side,
                             const QString &toolTip)
{
    auto *button = new QToolButton(parent);
    button->setObjectName(QLatin1String(name));
    button->setIcon(iconNamed(image));
    button->setProperty("imageName", image);
    button->setIconSize(QSize(side, side));
    button->setToolTip(toolTip);
    button->setAccessibleName(toolTip);
    button->setFocusPolicy(Qt::TabFocus);
    button->setAutoRaise(true);
    return button;
}

QLabel *fieldLabel(QWidget *parent, const QString &text)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("fieldLabel"));
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return label;
}

} // namespace

ControlWindowController::ControlWindowController(player::PlayerConnection &player, QObject *parent,
                                                 bool threadedPlayer)
    : QObject(parent), _worker(std::make_unique<PlayerWorker>(player, threadedPlayer))
{
    _noteTimer.setSingleShot(true);
    connect(&_noteTimer, &QTimer::timeout, this, [this] { showNote({}); });
    _updateTimer.setInterval(kDisplayUpdateMilliseconds);
    connect(&_updateTimer, &QTimer::timeout, this, &ControlWindowController::timerUpdateDisplayFromiTunes);
    _hideDisplayTimer.setSingleShot(true);
    connect(&_hideDisplayTimer, &QTimer::timeout, this, &ControlWindowController::startTimeToHideDisplayTimerFired);
    buildWindow();
    connectControls();
    awakeFromNib();
}

ControlWindowController::~ControlWindowController()
{
    // An edit still open is written while the controller is whole; the window's own teardown
    // moves the focus out of its fields and must not call back into a controller half gone.
    _editingMonitor->endEditing();
    disconnect(_editingMonitor, nullptr, this, nullptr);
    uninstallGlobalHotKey();
    _updateTimer.stop();
    _hideDisplayTimer.stop();
    if (_moveInEffect)
        _moveInEffect->stop();
    if (_moveOutEffect)
        _moveOutEffect->stop();
    delete _window;
    delete _menu;
    // Stopped before the controller's parts go, so that no answer arrives for them.
    _worker.reset();
}

QString ControlWindowController::windowNibName()
{
    return QStringLiteral("ControlWindowController");
}

void ControlWindowController::buildWindow()
{
    _window = new CustomWindow;
    _window->setObjectName(windowNibName());
    _window->setWindowTitle(QStringLiteral("Kestrabel"));
    _window->setWindowIcon(iconNamed(QStringLiteral("kestrabel")));
    _window->setStyleSheet(QLatin1String(kWindowStyleSheet));

    _imageView = new QLabel(_window);
    _imageView->setObjectName(QStringLiteral("_imageView"));
    _imageView->setFixedSize(kArtworkSide, kArtworkSide);
    _imageView->setAlignment(Qt::AlignCenter);
    _imageView->setScaledContents(false);

    _comboBoxAlbumTracks = new QComboBox(_window);
    _comboBoxAlbumTracks->setObjectName(QStringLiteral("_comboBoxAlbumTracks"));
    _comboBoxAlbumTracks->setEditable(true);
    _comboBoxAlbumTracks->setInsertPolicy(QComboBox::NoInsert);
    _comboBoxAlbumTracks->setCompleter(nullptr);
    _comboBoxAlbumTracks->setToolTip(tr("Title: type a new title, or choose another track of the album"));
    // The title field is the title combo box's own text field: typing edits the title, choosing
    // from its list plays another track of the album.
    _textFieldTitle = _comboBoxAlbumTracks->lineEdit();
    _textFieldTitle->setObjectName(QStringLiteral("_textFieldTitle"));

    _textFieldArtist = new QLineEdit(_window);
    _textFieldArtist->setObjectName(QStringLiteral("_textFieldArtist"));
    _textFieldAlbum = new QLineEdit(_window);
    _textFieldAlbum->setObjectName(QStringLiteral("_textFieldAlbum"));
    _comboBoxGenre = new GenreComboBox(_window);
    _comboBoxGenre->setObjectName(QStringLiteral("_comboBoxGenre"));
    _popUpButtonAlbumTracks = new QComboBox(_window);
    _popUpButtonAlbumTracks->setObjectName(QStringLiteral("_popUpButtonAlbumTracks"));
    _popUpButtonAlbumTracks->setToolTip(tr("Play another track of this album"));
    _indicatorRating = new RatingControl(_window);
    _indicatorRating->setObjectName(QStringLiteral("_indicatorRating"));
    _buttonSubmit = new QPushButton(tr("Save"), _window);
    _buttonSubmit->setObjectName(QStringLiteral("_buttonSubmit"));
    _buttonSubmit->setToolTip(tr("Write the edited field into the track's file"));

    _buttonPrevious = transportButton(_window, "_buttonPrevious", QStringLiteral("previous_button"),
                                      kTransportIconSide, tr("Previous track"));
    _buttonPlayPause = transportButton(_window, "_buttonPlayPause", QStringLiteral("play_button"),
                                       kPlayPauseIconSide, tr("Play or pause"));
    _buttonStop = transportButton(_window, "_buttonStop", QStringLiteral("stop_button"), kTransportIconSide,
                                  tr("Stop"));
    _buttonNext = transportButton(_window, "_buttonNext", QStringLiteral("next_button"), kTransportIconSide,
                                  tr("Next track"));

    _buttonMenu = new QToolButton(_window);
    _buttonMenu->setObjectName(QStringLiteral("_buttonMenu"));
    _buttonMenu->setText(QStringLiteral("\u22EF"));
    _buttonMenu->setToolTip(tr("Kestrabel menu"));
    _buttonMenu->setAccessibleName(tr("Kestrabel menu"));
    _buttonMenu->setPopupMode(QToolButton::InstantPopup);
    _buttonMenu->setFocusPolicy(Qt::TabFocus);
    _menu = buildMenu();
    _buttonMenu->setMenu(_menu);
    _buttonDismiss = new QToolButton(_window);
    _buttonDismiss->setObjectName(QStringLiteral("_buttonDismiss"));
    _buttonDismiss->setText(QStringLiteral("\u2715"));
    _buttonDismiss->setToolTip(tr("Hide the window"));
    _buttonDismiss->setAccessibleName(tr("Hide the window"));
    _buttonDismiss->setFocusPolicy(Qt::TabFocus);
    _labelStatus = new QLabel(_window);
    _labelStatus->setObjectName(QStringLiteral("_labelStatus"));
    _labelStatus->setWordWrap(true);
    _labelStatus->setAccessibleName(tr("Note"));
    _labelStatus->hide();

    _textFieldArtist->setAccessibleName(tr("Artist"));
    _textFieldAlbum->setAccessibleName(tr("Album"));
    _comboBoxGenre->setAccessibleName(tr("Genre"));
    _comboBoxAlbumTracks->setAccessibleName(tr("Title"));
    _textFieldTitle->setAccessibleName(tr("Title"));
    _popUpButtonAlbumTracks->setAccessibleName(tr("Tracks of the album"));
    _indicatorRating->setAccessibleName(tr("Rating"));
    _buttonSubmit->setAccessibleName(tr("Save"));
    _imageView->setAccessibleName(tr("Artwork"));

    auto *fields = new QGridLayout;
    fields->setHorizontalSpacing(8);
    fields->setVerticalSpacing(5);
    fields->addWidget(fieldLabel(_window, tr("Title")), 0, 0);
    fields->addWidget(_comboBoxAlbumTracks, 0, 1, 1, 2);
    fields->addWidget(fieldLabel(_window, tr("Artist")), 1, 0);
    fields->addWidget(_textFieldArtist, 1, 1, 1, 2);
    fields->addWidget(fieldLabel(_window, tr("Album")), 2, 0);
    _textFieldLength = fieldLabel(_window, QString());
    _textFieldLength->setObjectName(QStringLiteral("_textFieldLength"));
    auto *albumRow = new QHBoxLayout;
    albumRow->setSpacing(8);
    albumRow->addWidget(_textFieldAlbum, 1);
    albumRow->addWidget(_textFieldLength);
    fields->addLayout(albumRow, 2, 1, 1, 2);
    fields->addWidget(fieldLabel(_window, tr("Genre")), 3, 0);
    fields->addWidget(_comboBoxGenre, 3, 1);
    fields->addWidget(_indicatorRating, 3, 2, Qt::AlignRight | Qt::AlignVCenter);
    fields->addWidget(fieldLabel(_window, tr("Tracks")), 4, 0);
    fields->addWidget(_popUpButtonAlbumTracks, 4, 1, 1, 2);
    fields->setColumnStretch(1, 1);

    auto *header = new QHBoxLayout;
    header->addLayout(fields, 1);
    auto *corner = new QVBoxLayout;
    corner->addWidget(_buttonDismiss);
    corner->addWidget(_buttonMenu);
    corner->addStretch(1);
    header->addLayout(corner);

    auto *transport = new QHBoxLayout;
    transport->setSpacing(4);
    transport->addWidget(_buttonPrevious);
    transport->addWidget(_buttonPlayPause);
    transport->addWidget(_buttonStop);
    transport->addWidget(_buttonNext);
    transport->addStretch(1);
    transport->addWidget(_buttonSubmit);

    auto *right = new QVBoxLayout;
    right->addLayout(header);
    right->addWidget(_labelStatus);
    right->addLayout(transport);

    auto *layout = new QHBoxLayout(_window);
    layout->setContentsMargins(14, 12, 12, 12);
    layout->setSpacing(14);
    layout->addWidget(_imageView, 0, Qt::AlignTop);
    layout->addLayout(right, 1);

    _window->setMinimumWidth(560);
    _window->adjustSize();
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        _window->move(area.left() + (area.width() - _window->width()) / 2, area.top() + area.height() / 8);
    }
}

QMenu *ControlWindowController::buildMenu()
{
    // Not a child of the window: the window's dark style sheet must not reach the menu, which
    // follows the desktop's theme like every other menu.
    auto *menu = new QMenu;
    menu->setObjectName(QStringLiteral("_menuApplication"));
    menu->addAction(tr("Show or Hide Window"), this, &ControlWindowController::toggleWindowVisibility);
    menu->addSeparator();
    menu->addAction(tr("Preferences\u2026"), this, [this] { emit createWindowRequested(kMenuTagPreferences); });
    menu->addAction(tr("User Guide"), this, [this] { emit helpRequested(); });
    menu->addAction(tr("About Kestrabel"), this, [this] { emit createWindowRequested(kMenuTagAbout); });
    menu->addSeparator();
    menu->addAction(tr("Quit Kestrabel"), this, &ControlWindowController::buttonClickedQuit);
    return menu;
}

void ControlWindowController::connectControls()
{
    connect(_buttonPlayPause, &QToolButton::clicked, this, &ControlWindowController::buttonClickedPlayPauseiTunes);
    connect(_buttonStop, &QToolButton::clicked, this, &ControlWindowController::buttonClickedStopiTunes);
    connect(_buttonNext, &QToolButton::clicked, this, &ControlWindowController::buttonClickedNextiTunes);
    connect(_buttonPrevious, &QToolButton::clicked, this, &ControlWindowController::buttonClickedPreviousiTunes);
    connect(_buttonDismiss, &QToolButton::clicked, this, &ControlWindowController::buttonClickedDismissWindow);
    connect(_buttonSubmit, &QPushButton::clicked, this, &ControlWindowController::buttonClickedSubmit);
    connect(_indicatorRating, &RatingControl::action, this, &ControlWindowController::indicatorChangedRating);
    connect(_popUpButtonAlbumTracks, &QComboBox::activated, this, &ControlWindowController::popUpButtonTitleChanged);
    connect(_comboBoxAlbumTracks, &QComboBox::activated, this, &ControlWindowController::comboBoxChanged);
    connect(_comboBoxGenre, &QComboBox::activated, this, [this] { genreComboBoxChanged(_comboBoxGenre); });

    _editingMonitor = new FieldEditingMonitor(this);
    _editingMonitor->watch(_textFieldTitle, _textFieldTitle);
    _editingMonitor->watch(_textFieldArtist, _textFieldArtist);
    _editingMonitor->watch(_textFieldAlbum, _textFieldAlbum);
    _editingMonitor->watch(_comboBoxGenre->lineEdit(), _comboBoxGenre);
    connect(_editingMonitor, &FieldEditingMonitor::controlTextDidBeginEditing, this,
            &ControlWindowController::controlTextDidBeginEditing);
    connect(_editingMonitor, &FieldEditingMonitor::controlTextDidChange, this,
            &ControlWindowController::controlTextDidChange);
    connect(_editingMonitor, &FieldEditingMonitor::controlTextDidEndEditing, this,
            &ControlWindowController::controlTextDidEndEditing);
    connect(_editingMonitor, &FieldEditingMonitor::controlTextDidCancelEditing, this,
            &ControlWindowController::controlTextDidCancelEditing);

    connect(_window, &CustomWindow::becameKey, this, &ControlWindowController::windowDidBecomeKey);
    connect(_window, &CustomWindow::resignedKey, this, &ControlWindowController::windowDidResignKey);

    player::PlayerNotifier &notifier = _worker->notifier();
    connect(&notifier, &player::PlayerNotifier::trackChanged, this, [this] { updateDisplayFromiTunes(false); });
    connect(&notifier, &player::PlayerNotifier::playbackChanged, this, [this](bool playing) {
        _playerPlaying = playing;
        updateButtonStates();
    });
    installShortcuts();
}

void ControlWindowController::installShortcuts()
{
    // Escape first reverts a field being edited (the field takes it); otherwise it hides.
    auto *hide = new QShortcut(QKeySequence(Qt::Key_Escape), _window);
    connect(hide, &QShortcut::activated, this, &ControlWindowController::buttonClickedDismissWindow);
    auto *quit = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), _window);
    connect(quit, &QShortcut::activated, this, &ControlWindowController::buttonClickedQuit);
    // A text field takes Space as text before any shortcut sees it.
    auto *playPause = new QShortcut(QKeySequence(Qt::Key_Space), _window);
    connect(playPause, &QShortcut::activated, this, &ControlWindowController::buttonClickedPlayPauseiTunes);
}

QString ControlWindowController::statusNote() const
{
    return _labelStatus->isVisibleTo(_window) ? _labelStatus->text() : QString();
}

void ControlWindowController::showNote(const QString &text)
{
    _labelStatus->setText(text);
    _labelStatus->setVisible(!text.isEmpty());
    if (!text.isEmpty())
        _noteTimer.start(kNoteMilliseconds);
}

void ControlWindowController::awakeFromNib()
{
    _comboBoxGenre->awakeFromNib();
    updateDisplayFromiTunes(true);
    modifiersChangedNotification();
    windowShowParametersChangedNotification();

    setFrameAutosaveName(_window, windowNibName());
    const QVariant frame = UserDefaults::objectForKey(QStringLiteral("WindowFrame/") + windowNibName());
    if (frame.canConvert<QPoint>()) {
        const QPoint origin = frame.toPoint();
        for (const QScreen *screen : QGuiApplication::screens()) {
            if (screen->geometry().contains(origin)) {
                _window->move(origin);
                break;
            }
        }
    }
    updateButtonStates();

    PreferenceNotifier &center = PreferenceNotifier::defaultCenter();
    connect(&center, &PreferenceNotifier::kNotification_ShowWindowKeyModifiersChangedKey, this,
            &ControlWindowController::modifiersChangedNotification);
    connect(&center, &PreferenceNotifier::kNotification_WindowShowParametersChangedKey, this,
            &ControlWindowController::windowShowParametersChangedNotification);
}

void ControlWindowController::showWindow()
{
    if (!_window->isVisible())
        _window->show();
}

void ControlWindowController::windowWillClose()
{
    UserDefaults::setObject(_window->pos(), QStringLiteral("WindowFrame/") + frameAutosaveName(_window));
    UserDefaults::synchronize();
    _updateTimer.stop();
}

void ControlWindowController::close()
{
    if (_closed)
        return;
    _closed = true;
    windowWillClose();
    _window->hide();
}

} // namespace kestrabel::app
