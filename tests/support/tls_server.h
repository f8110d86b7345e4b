// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTimer>

#include <functional>

/// A web server of the test's own behind the host name www.debian.org, for as long as it lives:
/// names and trust of the throwaway host are set up for it, and its loopback interface is up.
///
/// It runs on the test's event loop, that of a probe included.
class TlsServer : public QTcpServer
{
public:
    /// Whether the host trusts the authority that signed the server's certificate.
    enum class Authority { Trusted, Unknown };

    explicit TlsServer(Authority authority = Authority::Trusted);
    /// Waits until no thread of a probe is left: one that still puts away what OpenSSL keeps for it
    /// when the program ends looks like a leak.
    ~TlsServer() override;
    TlsServer(const TlsServer &) = delete;
    TlsServer &operator=(const TlsServer &) = delete;

    /// What it answers to a request; nothing: it keeps the connection and says nothing.
    std::function<QByteArray()> answer = [] { return page(); };

    /// Answers with @p text to the request that has waited longest.
    void answerFirst(const QByteArray &text);

    /// Answers with @p text to all requests that have got nothing so far.
    void answerWaiting(const QByteArray &text);

    /// Makes @p call from the event loop that runs then, an inner one perhaps.
    void callSoon(std::function<void()> call);

    /// The answer of a site that works.
    static QByteArray page();

    int requests = 0;       ///< how many have come
    QByteArray lastRequest; ///< the last of them, as it came

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    QSslCertificate certificate;
    QSslKey key;
    QList<QSslSocket *> waiting;
    QTimer soon;
    std::function<void()> soonCalled;
};
