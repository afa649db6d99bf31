#include "platform/linux/accessibility/AtspiThread.h"

#include <atspi/atspi.h>

namespace quillon {

namespace {

gboolean runTask(gpointer data) {
    (*static_cast<std::function<void()>*>(data))();
    return G_SOURCE_REMOVE;
}

void deleteTask(gpointer data) {
    delete static_cast<std::function<void()>*>(data);
}

// Takes in the connections opened while the loop dispatched, before it waits again; never ready.
GSourceFuncs connectionKeeper{
    .prepare = [](GSource*, gint* timeout) -> gboolean {
        AtspiThread::keepDesktopConnectionsHere();
        *timeout = -1;
        return FALSE;
    },
    .check = [](GSource*) -> gboolean { return FALSE; },
    .dispatch = [](GSource*, GSourceFunc, gpointer) -> gboolean { return G_SOURCE_CONTINUE; },
    .finalize = nullptr,
    .closure_callback = nullptr,
    .closure_marshal = nullptr,
};

}  // namespace

std::shared_ptr<AtspiThread> AtspiThread::shared() {
    // Never destroyed: the connection it serves lives as long as the process.
    static auto* const instance = new std::shared_ptr<AtspiThread>(std::make_shared<AtspiThread>());
    return *instance;
}

AtspiThread::AtspiThread() {
    context_ = g_main_context_new();
    loop_ = g_main_loop_new(context_, FALSE);
    std::promise<void> started;
    auto ready = started.get_future();
    thread_ = std::jthread([this, &started] { main(started); });
    ready.wait();
}

AtspiThread::~AtspiThread() {
    post([this] { g_main_loop_quit(loop_); });
    thread_.join();
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
}

void AtspiThread::post(std::function<void()> task) {
    g_main_context_invoke_full(context_, G_PRIORITY_DEFAULT, runTask,
                               new std::function<void()>(std::move(task)), deleteTask);
}

namespace {

// Does nothing for a connection that is here already, as the shared bus connection is.
void moveConnection(AtspiAccessible* accessible, GMainContext* here) {
    AtspiApplication* application = accessible ? accessible->parent.app : nullptr;
    if (application && application->bus) atspi_dbus_connection_setup_with_g_main(application->bus, here);
}

}  // namespace

void AtspiThread::keepConnectionHere(AtspiAccessible* object) {
    moveConnection(object, g_main_context_get_thread_default());
}

void AtspiThread::keepDesktopConnectionsHere() {
    AtspiAccessible* desktop = atspi_get_desktop(0);
    if (!desktop) return;
    GMainContext* here = g_main_context_get_thread_default();
    for (guint i = 0; desktop->children && i < desktop->children->len; ++i) {
        moveConnection(static_cast<AtspiAccessible*>(g_ptr_array_index(desktop->children, i)), here);
    }
    g_object_unref(desktop);
}

void AtspiThread::main(std::promise<void>& started) {
    threadId_ = std::this_thread::get_id();
    g_main_context_push_thread_default(context_);
    // atspi_init answers 1 when libatspi was set up before in this process, which is fine too.
    // It hooks the bus connection into the default main context, which belongs to the UI
    // thread; moving it to this thread's context afterwards takes it out of there.
    const int status = atspi_init();
    connected_ = status == 0 || status == 1;
    if (connected_) {
        atspi_set_main_context(context_);
        GSource* keeper = g_source_new(&connectionKeeper, sizeof(GSource));
        g_source_attach(keeper, context_);
        g_source_unref(keeper);
    }
    started.set_value();
    g_main_loop_run(loop_);
    // Let the releases that elements posted on their way out run before the thread ends.
    while (g_main_context_iteration(context_, FALSE)) {
    }
    g_main_context_pop_thread_default(context_);
}

}  // namespace quillon
