#include "app/FileHandoff.h"

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QUrl>

#include <cstdio>

namespace quillon {

namespace {

// A Quillon that has just taken the lock may not be listening yet.
constexpr int connectTimeoutMs = 5000;
// The running one answers as soon as its main loop turns.
constexpr int answerTimeoutMs = 20000;

}  // namespace

FileHandoff::FileHandoff(const std::filesystem::path& runtimeDirectory)
    : socketPath_(runtimeDirectory / "quillon.socket") {}

FileHandoff::~FileHandoff() = default;

bool FileHandoff::listen(Receiver receiver, std::string& error) {
    receiver_ = std::move(receiver);
    server_ = std::make_unique<QLocalServer>();
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    const QString path = QString::fromStdString(socketPath_.string());
    // The lock is ours, so a socket left there belongs to a Quillon that is gone.
    QLocalServer::removeServer(path);
    if (!server_->listen(path)) {
        error = server_->errorString().toStdString();
        server_.reset();
        return false;
    }
    QObject::connect(server_.get(), &QLocalServer::newConnection, server_.get(), [this] {
        while (QLocalSocket* socket = server_->nextPendingConnection()) serve(socket);
    });
    return true;
}

// One path a line, ended by an empty line; the answer is one line.
void FileHandoff::serve(QLocalSocket* socket) {
    QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
        const QByteArray received = socket->peek(socket->bytesAvailable());
        if (!received.endsWith("\n\n")) return;
        socket->readAll();
        std::vector<std::filesystem::path> files;
        for (const QByteArray& line : received.split('\n')) {
            if (!line.isEmpty()) files.emplace_back(QString::fromUtf8(line).toStdString());
        }
        std::string answer = receiver_ ? receiver_(files) : std::string();
        std::erase(answer, '\n');
        socket->write(QByteArray::fromStdString(answer + "\n"));
        socket->disconnectFromServer();
    });
}

int FileHandoff::handOff(const std::vector<std::filesystem::path>& files) const {
    QLocalSocket socket;
    const QString path = QString::fromStdString(socketPath_.string());
    QDeadlineTimer connecting(connectTimeoutMs);
    socket.connectToServer(path);
    while (!socket.waitForConnected(200)) {
        if (connecting.hasExpired()) {
            std::fprintf(stderr, "quillon: the running Quillon did not answer: %s\n",
                         socket.errorString().toUtf8().constData());
            return 1;
        }
        socket.connectToServer(path);
    }
    QByteArray request;
    for (const auto& file : files) {
        std::error_code error;
        const auto absolute = std::filesystem::absolute(file, error);
        request += QByteArray::fromStdString((error ? file : absolute).string()) + '\n';
    }
    request += '\n';
    socket.write(request);
    socket.waitForBytesWritten(answerTimeoutMs);
    QByteArray answer;
    QDeadlineTimer answering(answerTimeoutMs);
    while (!answer.endsWith('\n') && !answering.hasExpired()) {
        if (!socket.waitForReadyRead(static_cast<int>(answering.remainingTime()))) break;
        answer += socket.readAll();
    }
    if (!answer.endsWith('\n')) {
        std::fputs("quillon: the running Quillon did not answer\n", stderr);
        return 1;
    }
    answer.chop(1);
    if (answer.isEmpty()) return 0;
    std::fprintf(stderr, "quillon: %s\n", answer.constData());
    return 1;
}

std::vector<std::filesystem::path> FileHandoff::filesFromArguments(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (argument.startsWith(QStringLiteral("file:"))) {
            files.emplace_back(QUrl(argument).toLocalFile().toStdString());
        } else if (!argument.startsWith(u'-')) {
            files.emplace_back(argv[i]);
        }
    }
    return files;
}

}  // namespace quillon
