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

/// The test's own web server, reachable as www.debian.org during its lifetime. Sets up the
/// throwaway host for the server: the host name, the trusted authorities and the loopback
/// interface.
///
/// The server runs on any event loop of the test, also on the inner one of a probe.
class TlsServer : public QTcpServer
{
public:
    /// Whether the host trusts the authority that signed the server's certificate.
    enum class Authority { Trusted, Unknown };

    explicit TlsServer(Authority authority = Authority::Trusted);
    /// Waits until the network threads of the probes have ended. If one still runs when the program
    /// ends, what OpenSSL keeps for this thread is reported as a leak.
    ~TlsServer() override;
    TlsServer(const TlsServer &) = delete;
    TlsServer &operator=(const TlsServer &) = delete;

    /// Returns the answer to a request. If the answer is empty, the request waits for
    /// answerFirst().
    std::function<QByteArray()> answer = [] { return page(); };

    /// Answers the request that has waited longest with @p text.
    void answerFirst(const QByteArray &text);

    /// Answers all waiting requests with @p text.
    void answerWaiting(const QByteArray &text);

    /// Makes the event loop that runs next, which may be an inner one, call @p call.
    void callSoon(std::function<void()> call);

    /// The answer of a site that works.
    static QByteArray page();

    int requests = 0;       ///< how many requests have arrived
    QByteArray lastRequest; ///< the last request, unchanged

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    QSslCertificate certificate;
    QSslKey key;
    QList<QSslSocket *> waiting;
    QTimer soon;
    std::function<void()> soonCalled;
};
