#include "DesktopHints.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace kestrabel::app {

namespace {

constexpr uint32_t kAllDesktops = 0xFFFFFFFFu;
constexpr uint32_t kStateAdd = 1;
// EWMH: a message from a normal application.
constexpr uint32_t kSourceApplication = 1;

xcb_connection_t *x11Connection()
{
    auto *application = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return application ? application->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, uint16_t(std::strlen(name)), name), nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_window_t rootOf(xcb_connection_t *connection)
{
    const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    return screens.rem ? screens.data->root : xcb_window_t(XCB_WINDOW_NONE);
}

void sendToRoot(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t type, const uint32_t (&data)[5])
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    std::memcpy(event.data.data32, data, sizeof data);
    xcb_send_event(connection, 0, rootOf(connection),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&event));
}

} // namespace

void applyPanelHints(QWidget *window)
{
    xcb_connection_t *connection = x11Connection();
    if (!connection || !window)
        return;
    const auto id = xcb_window_t(window->winId());
    const xcb_atom_t state = atom(connection, "_NET_WM_STATE");
    const xcb_atom_t desktop = atom(connection, "_NET_WM_DESKTOP");
    std::vector<xcb_atom_t> states;
    for (const char *name : kPanelWindowStates)
        states.push_back(atom(connection, name));
    // Read by the window manager when it maps the window; Qt keeps states it does not manage.
    xcb_change_property(connection, XCB_PROP_MODE_APPEND, id, state, XCB_ATOM_ATOM, 32, uint32_t(states.size()),
                        states.data());
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, desktop, XCB_ATOM_CARDINAL, 32, 1, &kAllDesktops);
    // Asked for again of a mapped window, which only messages change.
    if (window->isVisible()) {
        for (xcb_atom_t wanted : states)
            sendToRoot(connection, id, state, {kStateAdd, wanted, XCB_ATOM_NONE, kSourceApplication, 0});
        sendToRoot(connection, id, desktop, {kAllDesktops, kSourceApplication, 0, 0, 0});
    }
    xcb_flush(connection);
}

bool compositorRuns()
{
    xcb_connection_t *connection = x11Connection();
    if (!connection)
        return true;
    int screen = 0;
    if (const char *display = std::getenv("DISPLAY"); display && std::strchr(display, '.'))
        screen = std::atoi(std::strchr(display, '.') + 1);
    const std::string name = "_NET_WM_CM_S" + std::to_string(screen);
    const xcb_atom_t selection = atom(connection, name.c_str());
    std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr), &std::free);
    return owner && owner->owner != XCB_WINDOW_NONE;
}

} // namespace kestrabel::app
