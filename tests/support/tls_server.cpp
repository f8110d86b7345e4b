// SPDX-License-Identifier: MIT
#include "support/tls_server.h"

#include "support/command.h"
#include "support/daemon_host.h"
#include "support/host_files.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <utility>

namespace {

constexpr const char *directory = "/run/tls-server/";

void runOpenssl(const QStringList &arguments)
{
    const auto result = host::run(QStringList{"openssl"} + arguments);
    ASSERT_EQ(result.exitCode, 0) << result.errors.constData();
}

QString in(const char *file)
{
    return QString(directory) + file;
}

void makeCertificates()
{
    const QStringList newKey{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"};
    runOpenssl(QStringList{"req", "-x509", "-subj", "/CN=Authority of this test", "-keyout",
                           in("authority.key"), "-out", in("authority.pem")} +
               newKey);
    runOpenssl(QStringList{"req", "-subj", "/CN=www.debian.org", "-keyout", in("server.key"),
                           "-out", in("server.request")} +
               newKey);
    host::writeFile(in("extensions"), "subjectAltName=DNS:www.debian.org\n");
    runOpenssl({"x509", "-req", "-in", in("server.request"), "-CA", in("authority.pem"), "-CAkey",
                in("authority.key"), "-extfile", in("extensions"), "-out", in("server.pem")});
}

/// Adds the authority to those that the host trusts.
void trustAuthority()
{
    const auto hash = host::run({"openssl", "x509", "-hash", "-noout", "-in", in("authority.pem")});
    host::writeFile("/etc/ssl/certs/" + QString::fromLatin1(hash.output.trimmed()) + ".0",
                    host::readFile(in("authority.pem")));
}

bool networkThreadRuns()
{
    for (const QString &thread :
         QDir("/proc/self/task").entryList(QDir::NoDotAndDotDot | QDir::Dirs)) {
        QFile name("/proc/self/task/" + thread + "/comm");
        if (name.open(QIODevice::ReadOnly) && name.readAll().startsWith("QNetworkAccess")) {
            return true;
        }
    }
    return false;
}

} // namespace

TlsServer::TlsServer(Authority authority)
{
    EXPECT_TRUE(QDir().mkpath(directory));
    makeCertificates();
    if (authority == Authority::Trusted) {
        trustAuthority();
    }
    certificate = QSslCertificate(host::readFile(in("server.pem")));
    key = QSslKey(host::readFile(in("server.key")), QSsl::Ec);
    EXPECT_FALSE(certificate.isNull());
    EXPECT_FALSE(key.isNull());

    soon.setSingleShot(true);
    connect(&soon, &QTimer::timeout, this, [this] { soonCalled(); });

    host::writeFile("/etc/hosts", "127.0.0.1 localhost www.debian.org\n");
    EXPECT_EQ(host::run({"ip", "link", "set", "lo", "up"}).exitCode, 0);
    EXPECT_TRUE(listen(QHostAddress::LocalHost, 443));
}

TlsServer::~TlsServer()
{
    EXPECT_TRUE(waitFor([] { return !networkThreadRuns(); }));
}

void TlsServer::answerFirst(const QByteArray &text)
{
    waiting.takeFirst()->write(text);
}

void TlsServer::answerWaiting(const QByteArray &text)
{
    while (!waiting.isEmpty()) {
        answerFirst(text);
    }
}

void TlsServer::callSoon(std::function<void()> call)
{
    soonCalled = std::move(call);
    soon.start(0);
}

QByteArray TlsServer::page()
{
    return "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 6\r\n\r\nHello\n";
}

void TlsServer::incomingConnection(qintptr descriptor)
{
    auto *connection = new QSslSocket(this);
    connection->setLocalCertificate(certificate);
    connection->setPrivateKey(key);
    connect(connection, &QSslSocket::readyRead, this, [this, connection] {
        if (connection->peek(connection->bytesAvailable()).endsWith("\r\n\r\n")) {
            lastRequest = connection->readAll();
            ++requests;
            waiting << connection;
            const QByteArray text = answer();
            if (!text.isEmpty()) {
                waiting.removeAll(connection);
                connection->write(text);
            }
        }
    });
    ASSERT_TRUE(connection->setSocketDescriptor(descriptor));
    connection->startServerEncryption();
}
