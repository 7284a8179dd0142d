#include "Ports/PortContender.h"

#include <csignal>
#include <optional>

#include "KitwellPlatform/Ports/PortNameServer.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"

namespace kitwell::benchmarks::ports {

namespace {

using namespace platform;

PortNameServer& names() {
    return PortNameServer::systemDefault();
}

Date later() {
    return Date::now().adding(60);
}

PortMessage smallMessage(Job job) {
    static const Data first(std::string(kFirstBlock, 'a'));
    static const Data second(std::string(kSecondBlock, 'b'));
    return {static_cast<std::uint32_t>(job), {first, second}};
}

void send(const PortMessage& message, Port& port) {
    if (!message.sendBeforeDate(port, later()))
        fail("a message was not taken");
}

std::shared_ptr<Port> published(const std::string& name, Port::MessageHandler handler) {
    auto port = Port::receivePort(std::move(handler));
    if (!names().registerPort(port, name))
        fail("the name " + name + " is taken");
    port->addToRunLoop(RunLoop::current());
    return port;
}

std::shared_ptr<Port> portNamed(const std::string& name) {
    auto port = names().portForName(name);
    if (!port)
        fail("the port " + name + " is not there");
    return port;
}

void serve(const PortMessage& message, std::shared_ptr<Port>& client) {
    switch (static_cast<Job>(message.msgid)) {
    case Job::Echo:
        if (!client)
            client = portNamed("client");
        send(smallMessage(Job::Echo), *client);
        break;
    case Job::Stamp:
        report(now());
        break;
    case Job::Read: {
        volatile double sink = readEveryPage(message.components.at(0).bytes());
        static_cast<void>(sink);
        report(now());
        break;
    }
    case Job::Count:
        break;
    }
}

void playServer() {
    std::shared_ptr<Port> client;
    const auto server = published("server", [&](const PortMessage& message) { serve(message, client); });
    report(0);
    RunLoop::current().run();
}

void playSender(std::uint32_t number) {
    const auto port = portNamed("flood");
    PortMessage message = smallMessage(Job::Count);
    message.msgid = number;
    report(0);
    waitForGo();
    for (;;)
        send(message, *port);
}

struct Server {
    Server() : partner("portServer", {}) { partner.hear(); }
    Partner partner;
};

} // namespace

double smallOneWay() {
    Server server;
    const auto port = portNamed("server");
    const PortMessage message = smallMessage(Job::Echo);
    int echoes = 0;
    const auto client = published("client", [&](const PortMessage&) {
        if (++echoes < kEchoes)
            send(message, *port);
        else
            RunLoop::current().stop();
    });
    const double start = now();
    send(message, *port);
    RunLoop::current().run();
    const double end = now();
    RunLoop::current().restart();
    return (end - start) / (2.0 * kEchoes);
}

double blockOneWay(std::size_t size) {
    Server server;
    const auto port = portNamed("server");
    const PortMessage message{static_cast<std::uint32_t>(Job::Read), {Data(std::string(size, 'x'))}};
    std::vector<double> times;
    for (int count = 0; count < kBlocks; ++count) {
        const double start = now();
        send(message, *port);
        times.push_back(server.partner.hear() - start);
    }
    return medianOf(times);
}

double lookUpAndFirstMessage() {
    Server server;
    std::vector<std::shared_ptr<Port>> found; // kept, so that no end falls into the next beginning
    const PortMessage message = smallMessage(Job::Stamp);
    std::vector<double> times;
    for (int count = 0; count < kLookups; ++count) {
        const double start = now();
        found.push_back(portNamed("server"));
        send(message, *found.back());
        times.push_back(server.partner.hear() - start);
    }
    return medianOf(times);
}

double death() {
    Server server;
    const auto port = portNamed("server");
    send(smallMessage(Job::Stamp), *port);
    server.partner.hear();
    std::optional<double> told;
    const auto subscription = NotificationCenter::defaultCenter().observe(
        kPortDidBecomeInvalidNotification, port.get(), [&](const Notification&) { told = now(); });
    const double start = now();
    ::kill(server.partner.pid(), SIGKILL);
    while (!told)
        RunLoop::current().runOnce(std::chrono::seconds(60));
    return *told - start;
}

Flood flood(std::size_t senders) {
    FloodCounter counter(senders);
    const auto port = published("flood", [&](const PortMessage& message) { counter.add(message.msgid); });
    std::vector<Partner> partners;
    for (std::size_t number = 0; number < senders; ++number) {
        partners.emplace_back("portSender", std::vector{std::to_string(number)});
        partners.back().hear();
    }
    RunLoop::current().runFor({}); // accepts them
    for (Partner& partner : partners)
        partner.go();
    while (!counter.isDone())
        RunLoop::current().runOnce(std::chrono::seconds(60));
    return counter.result();
}

bool play(const std::string& role, const std::vector<std::string>& arguments) {
    if (role == "portServer")
        playServer();
    else if (role == "portSender")
        playSender(static_cast<std::uint32_t>(std::stoul(arguments.at(0))));
    else
        return false;
    return true;
}

} // namespace kitwell::benchmarks::ports
