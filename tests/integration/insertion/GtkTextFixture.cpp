// A GTK 3 window with the text widgets dictation must handle, driven by commands on stdin so
// tests can set it up and check its contents without going through the accessibility bus:
//   focus NAME | caret notes OFFSET | select notes START END | load NAME PATH | dump NAME | quit
// Widgets: "plain" (entry), "hint" (empty entry with a placeholder), "secret" (password entry),
// "notes" (multi-line text view), "button" (the window's default button, labelled "Send"; the
// entries activate it, as a dialog's do), "label" (a selectable label). Replies go to stdout, one
// line each; "dump" prints "NAME=TEXT" with line feeds written as \n, and for the button how
// often it was activated.
#include <gtk/gtk.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>

namespace {

std::map<std::string, GtkWidget*> widgets;
int clicks = 0;

std::string contentsOf(GtkWidget* widget) {
    if (GTK_IS_BUTTON(widget)) return std::to_string(clicks);
    if (GTK_IS_ENTRY(widget)) return gtk_entry_get_text(GTK_ENTRY(widget));
    GtkTextBuffer* buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(widget));
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(buffer, &start, &end);
    gchar* text = gtk_text_buffer_get_text(buffer, &start, &end, FALSE);
    std::string result(text);
    g_free(text);
    return result;
}

void setText(GtkWidget* widget, const char* text) {
    if (GTK_IS_ENTRY(widget)) {
        gtk_entry_set_text(GTK_ENTRY(widget), text);
    } else if (GTK_IS_TEXT_VIEW(widget)) {
        gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(widget)), text, -1);
    }
}

// In the text view, which is the only widget the tests place a caret or a selection in.
void selectRange(GtkWidget* widget, int start, int end) {
    GtkTextBuffer* buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(widget));
    GtkTextIter from, to;
    gtk_text_buffer_get_iter_at_offset(buffer, &from, start);
    gtk_text_buffer_get_iter_at_offset(buffer, &to, end);
    gtk_text_buffer_select_range(buffer, &to, &from);
}

void handle(const std::string& line) {
    std::istringstream words(line);
    std::string command, name;
    words >> command >> name;
    if (command == "quit") {
        gtk_main_quit();
        return;
    }
    const auto found = widgets.find(name);
    if (found == widgets.end()) {
        std::printf("error unknown widget %s\n", name.c_str());
    } else if (command == "focus") {
        gtk_widget_grab_focus(found->second);
        std::printf("ok\n");
    } else if (command == "caret" || command == "select") {
        int start = 0, end = 0;
        words >> start;
        end = start;
        if (command == "select") words >> end;
        selectRange(found->second, start, end);
        std::printf("ok\n");
    } else if (command == "load") {
        std::string path;
        words >> path;
        gchar* text = nullptr;
        if (g_file_get_contents(path.c_str(), &text, nullptr, nullptr)) {
            setText(found->second, text);
            g_free(text);
        }
        std::printf("ok\n");
    } else if (command == "dump") {
        std::string text = contentsOf(found->second);
        std::string escaped;
        for (char c : text) escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
        std::printf("%s=%s\n", name.c_str(), escaped.c_str());
    }
    std::fflush(stdout);
}

gboolean onInput(GIOChannel* channel, GIOCondition condition, gpointer) {
    if (condition & (G_IO_HUP | G_IO_ERR)) {
        gtk_main_quit();
        return FALSE;
    }
    gchar* line = nullptr;
    gsize length = 0;
    if (g_io_channel_read_line(channel, &line, &length, nullptr, nullptr) != G_IO_STATUS_NORMAL || !line) {
        gtk_main_quit();
        return FALSE;
    }
    std::string text(line, length);
    g_free(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    handle(text);
    return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "Quillon GTK fixture");
    gtk_window_set_default_size(GTK_WINDOW(window), 480, 360);
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
    gtk_container_add(GTK_CONTAINER(window), box);

    GtkWidget* plain = gtk_entry_new();
    GtkWidget* hint = gtk_entry_new();
    gtk_entry_set_placeholder_text(GTK_ENTRY(hint), "Type a message");
    GtkWidget* secret = gtk_entry_new();
    gtk_entry_set_visibility(GTK_ENTRY(secret), FALSE);
    GtkWidget* notes = gtk_text_view_new();
    GtkWidget* scroller = gtk_scrolled_window_new(nullptr, nullptr);
    gtk_widget_set_vexpand(scroller, TRUE);
    gtk_container_add(GTK_CONTAINER(scroller), notes);
    GtkWidget* button = gtk_button_new_with_label("Send");
    // Counted when activated, as Return in an entry does, not when clicked: a button shows itself
    // pressed for a moment before its click.
    g_signal_connect(button, "activate", G_CALLBACK(+[](GtkButton*, gpointer) { ++clicks; }), nullptr);
    GtkWidget* label = gtk_label_new("Some words to read.");
    gtk_label_set_selectable(GTK_LABEL(label), TRUE);
    for (GtkWidget* widget : {plain, hint, secret, scroller, button, label}) {
        gtk_box_pack_start(GTK_BOX(box), widget, FALSE, TRUE, 0);
    }
    gtk_widget_set_can_default(button, TRUE);
    gtk_window_set_default(GTK_WINDOW(window), button);
    for (GtkWidget* entry : {plain, hint}) gtk_entry_set_activates_default(GTK_ENTRY(entry), TRUE);
    widgets = {{"plain", plain}, {"hint", hint},     {"secret", secret},
               {"notes", notes}, {"button", button}, {"label", label}};

    // Initial contents: NAME=TEXT arguments, \n standing for a line feed.
    for (int i = 1; i < argc; ++i) {
        std::string argument(argv[i]);
        const auto equals = argument.find('=');
        if (equals == std::string::npos) continue;
        const auto found = widgets.find(argument.substr(0, equals));
        if (found == widgets.end()) continue;
        std::string text;
        for (std::size_t j = equals + 1; j < argument.size(); ++j) {
            if (argument[j] == '\\' && j + 1 < argument.size() && argument[j + 1] == 'n') {
                text += '\n';
                ++j;
            } else {
                text += argument[j];
            }
        }
        setText(found->second, text.c_str());
    }

    g_signal_connect(window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);
    gtk_widget_show_all(window);
    GIOChannel* input = g_io_channel_unix_new(0);
    g_io_add_watch(input, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), onInput, nullptr);
    std::printf("ready\n");
    std::fflush(stdout);
    gtk_main();
    return 0;
}
