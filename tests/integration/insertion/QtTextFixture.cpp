// A Qt window with a line edit, a line edit with a placeholder and a plain text editor, driven
// like the GTK fixture: focus NAME | caret NAME OFFSET | dump NAME | quit
// Widgets: "plain" (QLineEdit), "hint" (QLineEdit with a placeholder), "notes" (QTextEdit).
#include <QApplication>
#include <QLineEdit>
#include <QSocketNotifier>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

std::map<std::string, QWidget*> widgets;

QString contentsOf(QWidget* widget) {
    if (auto* line = qobject_cast<QLineEdit*>(widget)) return line->text();
    return qobject_cast<QTextEdit*>(widget)->toPlainText();
}

void placeCaret(QWidget* widget, int offset) {
    if (auto* line = qobject_cast<QLineEdit*>(widget)) {
        line->setCursorPosition(offset);
        return;
    }
    auto* edit = qobject_cast<QTextEdit*>(widget);
    QTextCursor cursor = edit->textCursor();
    cursor.setPosition(offset);
    edit->setTextCursor(cursor);
}

void handle(const std::string& line) {
    std::istringstream words(line);
    std::string command, name;
    words >> command >> name;
    if (command == "quit") {
        QApplication::quit();
        return;
    }
    const auto found = widgets.find(name);
    if (found == widgets.end()) {
        std::printf("error unknown widget %s\n", name.c_str());
    } else if (command == "focus") {
        found->second->activateWindow();
        found->second->setFocus(Qt::OtherFocusReason);
        std::printf("ok\n");
    } else if (command == "caret") {
        int offset = 0;
        words >> offset;
        placeCaret(found->second, offset);
        std::printf("ok\n");
    } else if (command == "dump") {
        QString text = contentsOf(found->second);
        text.replace(QStringLiteral("\n"), QStringLiteral("\\n"));
        std::printf("%s=%s\n", name.c_str(), text.toStdString().c_str());
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QWidget window;
    window.setWindowTitle(QStringLiteral("Quillon Qt fixture"));
    auto* layout = new QVBoxLayout(&window);
    auto* plain = new QLineEdit;
    auto* hint = new QLineEdit;
    hint->setPlaceholderText(QStringLiteral("Type a message"));
    auto* notes = new QTextEdit;
    notes->setAcceptRichText(false);
    layout->addWidget(plain);
    layout->addWidget(hint);
    layout->addWidget(notes);
    widgets = {{"plain", plain}, {"hint", hint}, {"notes", notes}};
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        const auto equals = argument.indexOf('=');
        if (equals < 0) continue;
        const auto found = widgets.find(argument.left(equals).toStdString());
        if (found == widgets.end()) continue;
        QString text = argument.mid(equals + 1);
        text.replace(QStringLiteral("\\n"), QStringLiteral("\n"));
        if (auto* line = qobject_cast<QLineEdit*>(found->second)) {
            line->setText(text);
        } else {
            qobject_cast<QTextEdit*>(found->second)->setPlainText(text);
        }
    }
    window.resize(480, 360);
    window.show();

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    std::string pending;
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[4096];
        const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            QApplication::quit();
            return;
        }
        pending.append(buffer, static_cast<std::size_t>(count));
        for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            handle(pending.substr(0, end));
            pending.erase(0, end + 1);
        }
    });
    std::printf("ready\n");
    std::fflush(stdout);
    return application.exec();
}
