// mime/receive/raw_stream.hpp - a client's raw stream takes the debug stream's place for a body
#pragma once

#include "mime/receive/receiver.hpp"

#include <ostream>

class MimeReceiver::RawStream {
public:
    explicit RawStream(MimeReceiver & receiver) : receiver_(receiver), before_(receiver.debug) {}
    /// An exception on its way finds the old stream back in its place too.
    ~RawStream() { receiver_.debug = before_; }
    RawStream(RawStream const &) = delete;
    RawStream & operator=(RawStream const &) = delete;

    std::ostream * client = nullptr; ///< Where BeginBody puts the client's stream.

    void begin() {
        if (client != nullptr) receiver_.debug = client;
    }
    void end() {
        if (client != nullptr) client->flush();
        receiver_.debug = before_;
    }

private:
    MimeReceiver & receiver_;
    std::ostream * before_;
};
