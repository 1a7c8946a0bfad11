// The control window: shows the player's current track, edits its title, artist, album and genre
// in the track's file, rates it, drives the transport, and fades in and out. Its work is split by
// concern: ControlDisplay.cpp, ControlEditing.cpp, ControlActions.cpp, ControlVisibility.cpp and
// ControlHotKey.cpp.
#pragma once

#include "CustomWindow.h"
#include "GlobalHotKey.h"
#include "ShortcutPortal.h"
#include "PlayerJobs.h"
#include "WindowEffect.h"

#include <kestrabel/MediaFile.h>

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <memory>

class QComboBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QToolButton;

namespace kestrabel::player {
class PlayerConnection;
}

namespace kestrabel::app {

class FieldEditingMonitor;
class GenreComboBox;
class PlayerWorker;
class RatingControl;

inline constexpr char kUnknownTitle[] = "<unknown title>";
inline constexpr char kUnknownAlbum[] = "<unknown album>";
inline constexpr char kUnknownArtist[] = "<unknown artist>";
inline constexpr char kUnknownGenre[] = "<unknown genre>";

inline constexpr int kDisplayUpdateMilliseconds = 5000;
// How long a note under the fields stays.
inline constexpr int kNoteMilliseconds = 12000;
inline constexpr int kNotificationMilliseconds = 5000;
inline constexpr float kDefaultSecondsToShowWindow = 8.0f;
inline constexpr float kFastFadeSeconds = 0.5f;
inline constexpr float kSlowFadeSeconds = 2.0f;

// Menu tags shared with the application delegate.
inline constexpr int kMenuTagPreferences = 2;
inline constexpr int kMenuTagAbout = 3;

class ControlWindowController : public QObject {
    Q_OBJECT
public:
    // With threadedPlayer the player's questions run on a thread of their own, and their answers
    // arrive later; without, at once (for in-process players in tests).
    explicit ControlWindowController(player::PlayerConnection &player, QObject *parent = nullptr,
                                     bool threadedPlayer = false);
    ~ControlWindowController() override;

    static QString windowNibName();
    CustomWindow *window() const { return _window; }
    void showWindow();

    void awakeFromNib();
    void windowWillClose();
    void close();

    // Display (ControlDisplay.cpp)
    void updateDisplayFromiTunes(bool fast);
    void timerUpdateDisplayFromiTunes();
    void startDisplayUpdateTimer();
    void clearDisplay();
    void updateButtonStates();
    // Title, artist, album and genre as the fields show them.
    QStringList shownTrack() const;

    // Visibility (ControlVisibility.cpp)
    bool isWindowVisible() const;
    void toggleWindowVisibility();
    void startWindowMovingIntoView(bool fast);
    void moveWindowIntoViewFinished();
    void startWindowMovingOutOfView(bool fast);
    void moveWindowOutOfViewFinished();
    void startTimeToHideDisplayTimer();
    void stopTimeToHideDisplayTimer();
    void startTimeToHideDisplayTimerFired();
    void windowDidBecomeKey();
    void windowDidResignKey();
    void windowShowParametersChangedNotification();

    // Transport, rating and the track choosers (ControlActions.cpp)
    void buttonClickedPlayPauseiTunes();
    void buttonClickedStopiTunes();
    void buttonClickedNextiTunes();
    void buttonClickedPreviousiTunes();
    void buttonClickedDismissWindow();
    void buttonClickedQuit();
    void indicatorChangedRating();
    void setRatingTimer();
    void popUpButtonTitleChanged();
    void comboBoxChanged();

    // Editing (ControlEditing.cpp)
    void controlTextDidBeginEditing(QObject *control);
    void controlTextDidChange(QObject *control);
    void controlTextDidEndEditing(QObject *control);
    // Escape: the field shows the value it had before the edit.
    void controlTextDidCancelEditing(QObject *control);
    void genreComboBoxChanged(QObject *sender);
    // Writes the image file of that name in the temporary folder into the current track's file
    // as its cover art.
    MediaFileStatus setArtworkFromFileAtPath(const QString &fileName);
    void buttonClickedSubmit();
    static bool justEdited();
    static void setJustEdited(bool edited);

    // Hot key (ControlHotKey.cpp)
    void installGlobalHotKey();
    void uninstallGlobalHotKey();
    void setHotKeyStatus(GlobalHotKey::Status status, int keyCode);
    void modifiersChangedNotification();
    bool hasGlobalHotKey() const
    {
        return _hotKeyRef != nullptr || _hotKeyStatus == GlobalHotKey::Status::ThroughDesktop;
    }
    GlobalHotKey::Status hotKeyStatus() const { return _hotKeyStatus; }
    QString hotKeyStatusMessage() const { return _hotKeyStatusMessage; }
    uint32_t hotKeyModifierMask() const { return _hotKeyModifierMask; }
    // The message of the controller that installed a hot key last, for the preferences panel.
    static QString currentHotKeyStatusMessage();
    static bool currentHotKeyUnavailable();

    // Nothing to do; kept so that every event of the window has its place.
    void focusChangedNotification() {}
    void windowDidMove() {}

    float showWindowForSeconds() const { return _showWindowForSeconds; }
    bool isHideTimerActive() const { return _hideDisplayTimer.isActive(); }
    int hideTimerInterval() const { return _hideDisplayTimer.interval(); }
    bool isDisplayUpdateTimerActive() const { return _updateTimer.isActive(); }
    TransparencyWindowEffect *moveInEffect() const { return _moveInEffect.get(); }
    TransparencyWindowEffect *moveOutEffect() const { return _moveOutEffect.get(); }
    int lastIndicatorRating() const { return _lastIndicatorRating; }
    QString cachedTitle() const { return _currentTrackTitleStringRef; }
    QString cachedArtist() const { return _currentTrackArtistStringRef; }
    QString cachedAlbum() const { return _currentTrackAlbumStringRef; }
    QString cachedGenre() const { return _currentTrackGenreStringRef; }
    QStringList cachedAlbumSongs() const { return _currentAlbumSongArrayRef; }
    // The player whose track the window shows (its bus name), and that track's id.
    QString displayedPlayer() const { return _displayedPlayer; }
    QString displayedTrackId() const { return _displayedTrackId; }
    // The short note under the fields (a failed save, a dropped edit); empty when none.
    QString statusNote() const;

signals:
    void createWindowRequested(int tag);
    void helpRequested();
    void quitRequested();
    // After each display update, with what the window now shows.
    void displayUpdated();

private:
    void buildWindow();
    QMenu *buildMenu();
    void connectControls();
    void forgetCurrentTrack();
    void fillTrackChoosers(const QString &title, const QString &album, bool albumChanged, QStringList titles);
    void showArtwork(const QByteArray &artwork);
    bool isKeyWindow() const;
    void dropEffect(std::unique_ptr<TransparencyWindowEffect> &effect);
    void showSnapshot(const TrackSnapshot &snapshot, bool fast);
    void sendEdit(QObject *control, const EditRequest &request, const QString &original);
    void editFinished(QObject *control, const EditResult &result, const QString &original);
    QLineEdit *fieldOf(QObject *control) const;
    QString cachedValueOf(QObject *control) const;
    void showNote(const QString &text);
    void installShortcuts();
    void setTrackChoice(const player::TrackChoice &choice);
    void notifyTrackChange(const QString &title, const QString &artist);
    EditTarget displayedTarget() const;
    // Sends a command to the player the window shows, then runs after on the window's thread.
    void command(std::function<bool(player::PlayerConnection &)> job, std::function<void(bool playing)> after = {});

    std::unique_ptr<PlayerWorker> _worker;
    QPointer<CustomWindow> _window;
    QMenu *_menu = nullptr;
    FieldEditingMonitor *_editingMonitor = nullptr;

    QLabel *_imageView = nullptr;
    QLineEdit *_textFieldAlbum = nullptr;
    // The track's length, read from its file, beside the album.
    QLabel *_textFieldLength = nullptr;
    QLineEdit *_textFieldArtist = nullptr;
    QLineEdit *_textFieldTitle = nullptr;
    QPushButton *_buttonSubmit = nullptr;
    RatingControl *_indicatorRating = nullptr;
    QComboBox *_popUpButtonAlbumTracks = nullptr;
    GenreComboBox *_comboBoxGenre = nullptr;
    QComboBox *_comboBoxAlbumTracks = nullptr;
    QToolButton *_buttonPlayPause = nullptr;
    QToolButton *_buttonStop = nullptr;
    QToolButton *_buttonNext = nullptr;
    QToolButton *_buttonPrevious = nullptr;
    QToolButton *_buttonMenu = nullptr;
    QToolButton *_buttonDismiss = nullptr;
    QLabel *_labelStatus = nullptr;
    QTimer _noteTimer;

    float _showWindowForSeconds = kDefaultSecondsToShowWindow;
    QTimer _updateTimer;
    QTimer _hideDisplayTimer;
    std::unique_ptr<TransparencyWindowEffect> _moveInEffect;
    std::unique_ptr<TransparencyWindowEffect> _moveOutEffect;
    int _lastIndicatorRating = 0;

    // Null when nothing is cached.
    QString _currentTrackArtistStringRef;
    QString _currentTrackTitleStringRef;
    QString _currentTrackGenreStringRef;
    QString _currentTrackAlbumStringRef;
    QStringList _currentAlbumSongArrayRef;
    QString _displayedPlayer;
    QString _displayedTrackId;
    QString _displayedPath;
    bool _playerPlaying = false;
    player::TrackChoice _trackChoice;
    // A look at the player is under way; another is due when it ends.
    bool _snapshotInFlight = false;
    bool _snapshotAgain = false;
    bool _snapshotAgainFast = false;
    // The track each field's running edit began on, with the field's value then.
    struct FieldEdit {
        EditTarget target;
        QString original;
    };
    QHash<QObject *, FieldEdit> _edits;
    uint _lastNotification = 0;

    std::unique_ptr<GlobalHotKey> _hotKeyRef;
    std::unique_ptr<ShortcutPortal> _hotKeyPortal;
    GlobalHotKey::Status _hotKeyStatus = GlobalHotKey::Status::Unavailable;
    QString _hotKeyStatusMessage;
    uint32_t _hotKeyModifierMask = 0;
    bool _closed = false;
};

} // namespace kestrabel::app
