#include "device/station/engine.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

#include "common/modbus_limits.h"
#include "device/station/window.h"

namespace dx7sim {

namespace {

using dx7common::FileDescriptor;

constexpr std::size_t SHORTEST_REQUEST = dx7common::SHORTEST_FRAME_BYTES;
constexpr std::size_t EXCEPTION_LENGTH = dx7common::EXCEPTION_FRAME_BYTES;

bool isSupported(int functionCode) {
    return (functionCode >= MODBUS_FC_READ_COILS && functionCode <= MODBUS_FC_READ_EXCEPTION_STATUS) ||
           functionCode == MODBUS_FC_WRITE_MULTIPLE_COILS ||
           functionCode == MODBUS_FC_WRITE_MULTIPLE_REGISTERS;
}

// Whether a write of several coils or registers announces more or fewer bytes than its quantity takes.
// libmodbus looks at this for registers only.
bool hasWrongByteCount(const Bytes& request) {
    const unsigned quantity = wordAt(request, 4);
    switch (request[1]) {
        case MODBUS_FC_WRITE_MULTIPLE_COILS:
            return request[6] != (quantity + 7) / 8;
        case MODBUS_FC_WRITE_MULTIPLE_REGISTERS:
            return request[6] != 2 * quantity;
        default:
            return false;
    }
}

// The whole request is at hand whenever the engine is asked, so it never has to wait: these times only bound
// how long it looks for bytes that a damaged request lacks. It also sleeps the response time before some
// exceptions.
void setShortTimes(modbus_t* context) {
    constexpr std::uint32_t LOOK_US = 1000;
    constexpr std::uint32_t NO_SLEEP_US = 1;
    modbus_set_indication_timeout(context, 0, LOOK_US);
    modbus_set_byte_timeout(context, 0, LOOK_US);
    modbus_set_response_timeout(context, 0, NO_SLEEP_US);
}

}  // namespace

Engine::Engine(Protocol protocol) : protocol_(protocol) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot create a socket pair");
    }
    outside_ = FileDescriptor(ends[0]);
    inside_ = FileDescriptor(ends[1]);
    ::fcntl(outside_.number(), F_SETFL, O_NONBLOCK);
    // Neither the device name nor the address is ever opened: the context gets its descriptor from outside.
    context_.reset(protocol == Protocol::Rtu ? modbus_new_rtu("/dev/null", 9600, 'N', 8, 1)
                                             : modbus_new_tcp("127.0.0.1", MODBUS_TCP_DEFAULT_PORT));
    if (!context_ || modbus_set_socket(context_.get(), inside_.number()) != 0) {
        throw std::runtime_error("libmodbus gives no context: " + std::string(modbus_strerror(errno)));
    }
    setShortTimes(context_.get());
}

// Whether the engine takes it for a request: it is not too short, not too long for its function code, and its
// CRC is right.
bool Engine::receive(const Bytes& request) {
    putIn(request);
    Bytes received(MODBUS_MAX_ADU_LENGTH);
    if (modbus_receive(context_.get(), received.data()) == static_cast<int>(request.size())) {
        return true;
    }
    // What is left over must not lead the next request.
    while (::recv(inside_.number(), received.data(), received.size(), MSG_DONTWAIT) > 0) {
    }
    return false;
}

Answer Engine::answer(const Bytes& request, Model& model, Time now) {
    if (request.size() < SHORTEST_REQUEST) {
        return {};
    }
    const Bytes body = bodyOf(request, protocol_);
    const int station = body[0];
    if (!isSupported(body[1])) {
        // The engine cannot know the length of a foreign request, so it is not asked to receive it.
        const bool whole = protocol_ != Protocol::Rtu || endsInGoodCrc(request, request.size());
        return {whole, whole ? refusal(request, MODBUS_EXCEPTION_ILLEGAL_FUNCTION) : Bytes(),
                MODBUS_EXCEPTION_ILLEGAL_FUNCTION};
    }
    modbus_set_slave(context_.get(), station == MODBUS_BROADCAST_ADDRESS ? 1 : station);
    if (!receive(request)) {
        return {};
    }
    if (body[1] == MODBUS_FC_READ_EXCEPTION_STATUS) {
        return replyWithStatus(request, model, now);
    }
    if (hasWrongByteCount(body)) {
        return {true, refusal(request, MODBUS_EXCEPTION_ILLEGAL_DATA_VALUE),
                MODBUS_EXCEPTION_ILLEGAL_DATA_VALUE};
    }
    return replyFromMap(request, model, now);
}

// What the engine has put out.
Answer Engine::answered() {
    Answer answer{true, takeOut(), 0};
    if (!answer.reply.empty()) {
        const Bytes body = bodyOf(answer.reply, protocol_);
        const bool isException = body.size() == EXCEPTION_LENGTH && (body[1] & dx7common::EXCEPTION_BIT) != 0;
        answer.exception = isException ? body[2] : 0;
    }
    return answer;
}

Answer Engine::replyFromMap(const Bytes& request, Model& model, Time now) {
    const Bytes body = bodyOf(request, protocol_);
    Window window(body, model, now);
    modbus_reply(context_.get(), request.data(), static_cast<int>(request.size()), window.mapping());
    Answer answer = answered();
    if (answer.exception == 0) {
        window.storeWritten(model, now);
    }
    if (body[0] == MODBUS_BROADCAST_ADDRESS) {
        // Over Modbus/TCP the engine answers that, too.
        answer.reply.clear();
    }
    return answer;
}

Answer Engine::replyWithStatus(const Bytes& request, const Model& model, Time now) {
    const Bytes body = bodyOf(request, protocol_);
    if (body[0] == MODBUS_BROADCAST_ADDRESS) {
        return {true, {}, 0};
    }
    // libmodbus leaves the content of this reply to the application; it still frames it.
    const std::uint8_t status = static_cast<std::uint8_t>(model.value({RegisterType::FAS, 0}, now));
    const std::uint8_t raw[] = {body[0], body[1], status};
    modbus_send_raw_request(context_.get(), raw, sizeof raw);
    Bytes reply = takeOut();
    if (protocol_ == Protocol::ModbusTcp) {
        // It gave it an id of its own.
        std::copy_n(request.begin(), 2, reply.begin());
    }
    return {true, reply, 0};
}

Bytes Engine::refusal(const Bytes& request, int code) {
    const bool broadcast = bodyOf(request, protocol_)[0] == MODBUS_BROADCAST_ADDRESS;
    return broadcast ? Bytes() : exceptionReply(request, code);
}

Bytes Engine::exceptionReply(const Bytes& request, int code) {
    modbus_set_slave(context_.get(), bodyOf(request, protocol_)[0]);
    modbus_reply_exception(context_.get(), request.data(), static_cast<unsigned>(code));
    return takeOut();
}

void Engine::putIn(const Bytes& request) {
    std::size_t sent = 0;
    while (sent < request.size()) {
        const ssize_t count = ::write(outside_.number(), request.data() + sent, request.size() - sent);
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot hand a request to the engine");
        }
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

Bytes Engine::takeOut() {
    Bytes reply(MODBUS_MAX_ADU_LENGTH);
    const ssize_t count = ::read(outside_.number(), reply.data(), reply.size());
    reply.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return reply;
}

}  // namespace dx7sim
