#include "Ports/BusPeer.h"

#ifdef KITWELL_HAS_SD_BUS

#include <array>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace kitwell::benchmarks::bus {

namespace {

constexpr char kService[] = "org.kitwell.Benchmark";
constexpr char kPath[] = "/benchmark";
constexpr std::size_t kBusMessages = kMessages / 10;
constexpr int kBusEchoes = kEchoes / 5;

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;
using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

int check(int result) {
    if (result < 0)
        fail("the bus refused");
    return result;
}

std::string addressIn(const PrivateFolder& folder) {
    return "unix:path=" + folder.path("bus");
}

// A daemon with a socket in the private folder and no rule but that everything is allowed.
Partner startDaemon(const PrivateFolder& folder) {
    const std::string file = folder.path("bus.conf");
    std::ofstream(file)
        << "<busconfig><type>session</type><listen>" << addressIn(folder)
        << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
           "<allow own=\"*\"/><allow receive_sender=\"*\"/></policy></busconfig>";
    ::unlink(folder.path("bus").c_str());
    return Partner::program({"dbus-daemon", "--nofork", "--config-file=" + file});
}

Bus connectTo(const std::string& address) {
    for (int attempt = 0; attempt < 1000; ++attempt) {
        sd_bus* bus = nullptr;
        check(sd_bus_new(&bus));
        Bus owned(bus, sd_bus_flush_close_unref);
        check(sd_bus_set_address(bus, address.c_str()));
        check(sd_bus_set_bus_client(bus, 1));
        if (sd_bus_start(bus) >= 0 && sd_bus_get_bus_id(bus, nullptr) != -ENOTCONN)
            return owned;
        ::usleep(5000); // the daemon has no way to say that it is up
    }
    fail("the bus does not come up");
}

Message smallCall(const Bus& bus) {
    static const std::array<char, kFirstBlock> first{};
    static const std::array<char, kSecondBlock> second{};
    sd_bus_message* message = nullptr;
    check(sd_bus_message_new_method_call(bus.get(), &message, kService, kPath, kService, "Take"));
    Message owned(message, sd_bus_message_unref);
    check(sd_bus_message_append(message, "u", 1U));
    check(sd_bus_message_append_array(message, 'y', first.data(), first.size()));
    check(sd_bus_message_append_array(message, 'y', second.data(), second.size()));
    return owned;
}

int take(sd_bus_message* message, void* context, sd_bus_error*) {
    if (check(sd_bus_message_get_expect_reply(message)) > 0)
        return sd_bus_reply_method_return(message, "");
    auto& count = *static_cast<std::size_t*>(context);
    if (++count % kBusMessages == 0)
        report(now());
    return 1;
}

void playServer(const std::string& address) {
    const Bus bus = connectTo(address);
    std::size_t count = 0;
    const sd_bus_vtable table[] = {SD_BUS_VTABLE_START(0),
                                   SD_BUS_METHOD("Take", "uayay", "", take, SD_BUS_VTABLE_UNPRIVILEGED),
                                   SD_BUS_VTABLE_END};
    check(sd_bus_add_object_vtable(bus.get(), nullptr, kPath, kService, table, &count));
    check(sd_bus_request_name(bus.get(), kService, 0));
    report(0);
    for (;;)
        if (check(sd_bus_process(bus.get(), nullptr)) == 0)
            check(sd_bus_wait(bus.get(), UINT64_MAX));
}

struct Server {
    explicit Server(const PrivateFolder& folder)
        : daemon(startDaemon(folder)), partner("busServer", {addressIn(folder)}),
          bus(connectTo(addressIn(folder))) {
        partner.hear();
    }
    Partner daemon;
    Partner partner;
    Bus bus;
};

} // namespace

std::optional<std::string> missing() {
    return std::system("command -v dbus-daemon > /dev/null") == 0
               ? std::nullopt
               : std::optional<std::string>("no dbus-daemon here");
}

// A call and its reply are two messages.
double smallOneWay(const PrivateFolder& folder) {
    Server server(folder);
    const double start = now();
    for (int count = 0; count < kBusEchoes; ++count) {
        const Message call = smallCall(server.bus);
        check(sd_bus_call(server.bus.get(), call.get(), 0, nullptr, nullptr));
    }
    return (now() - start) / (2.0 * kBusEchoes);
}

double messagesPerSecond(const PrivateFolder& folder) {
    Server server(folder);
    const double start = now();
    for (std::size_t count = 0; count < kBusMessages; ++count) {
        const Message call = smallCall(server.bus);
        check(sd_bus_message_set_expect_reply(call.get(), 0));
        check(sd_bus_send(server.bus.get(), call.get(), nullptr));
        if (count % 64 == 0)
            check(sd_bus_flush(server.bus.get()));
    }
    check(sd_bus_flush(server.bus.get()));
    return static_cast<double>(kBusMessages) / (server.partner.hear() - start);
}

bool play(const std::string& role, const std::vector<std::string>& arguments) {
    if (role != "busServer")
        return false;
    playServer(arguments.at(0));
    return true;
}

} // namespace kitwell::benchmarks::bus

#else

namespace kitwell::benchmarks::bus {

std::optional<std::string> missing() {
    return "built without the bus library";
}
double smallOneWay(const PrivateFolder&) {
    return 0;
}
double messagesPerSecond(const PrivateFolder&) {
    return 0;
}
bool play(const std::string&, const std::vector<std::string>&) {
    return false;
}

} // namespace kitwell::benchmarks::bus

#endif
