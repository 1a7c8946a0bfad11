// The application delegate: start-up (text utilities, preference defaults, the control window, the
// update check when due), the menu actions, the help file and the new-version alert.
#pragma once

#include "ProductUpdateCheck.h"

#include <QMessageBox>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

namespace kestrabel::player {
class PlayerConnection;
}

namespace kestrabel::app {

class ControlWindowController;

class AppDelegate : public QObject, public ProductUpdateCheckDelegate {
    Q_OBJECT
public:
    // threadedPlayer as for ControlWindowController.
    explicit AppDelegate(player::PlayerConnection &player, QObject *parent = nullptr, bool threadedPlayer = false);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    void applicationDidBecomeActive();
    bool applicationShouldOpenUntitledFile() const { return false; }
    void toggleWindowVisibility();
    void createWindow(int tag);
    // False when the guide cannot be found.
    bool showHelpFile();
    static QString helpFilePath();

    void productUpdateCheckComplete(ProductUpdateCheck *check, int error,
                                    const std::optional<ProductUpdateResponse> &response) override;

    ControlWindowController *mainController() const { return _mainController.get(); }
    ProductUpdateCheck *productUpdateCheck() const { return _productUpdateCheck.get(); }
    QMessageBox *updateAlert() const { return _updateAlert; }

private:
    player::PlayerConnection &_player;
    bool _threadedPlayer = false;
    std::unique_ptr<ControlWindowController> _mainController;
    std::unique_ptr<ProductUpdateCheck> _productUpdateCheck;
    QPointer<QWidget> _aboutBox;
    QPointer<QMessageBox> _updateAlert;
};

// The new-version alert: title, detail text and the three buttons. The default button opens the
// download location, the alternate one the information location, each only when there is one.
// With a window it is a sheet on that window and its result (the button's role) goes to
// onResult; without one it stands alone and the message is the detail text as it is.
QMessageBox *showUpdateAlert(const ProductUpdateResponse &response, QWidget *sheetWindow = nullptr,
                             std::function<void(QMessageBox::ButtonRole)> onResult = {});

} // namespace kestrabel::app
