#include "sensor/status_io.h"

#include "session/fpga_status.h"
#include "session/wire.h"

namespace kavix::sensor {

uint32_t write_status_word(Session &session, uint16_t id, uint16_t value) {
    uint8_t word[2];
    wire::put_u16(word, value);
    return transfer_status_words(session, Direction::Out, 0, id, 1, word);
}

uint32_t read_status_word(Session &session, uint16_t id, uint16_t &value) {
    uint8_t word[2] = {};
    const uint32_t result = transfer_status_words(session, Direction::In, 0, id, 1, word);
    value = result != 0 ? wire::u16(word) : 0;
    return result;
}

uint32_t write_status_pair(Session &session, uint16_t id, uint32_t value) {
    uint8_t words[4];
    wire::put_u32(words, value);
    return transfer_status_words(session, Direction::Out, 0, id, 2, words);
}

uint32_t read_status_pair(Session &session, uint16_t id, uint32_t &value) {
    uint8_t words[4] = {};
    const uint32_t result = transfer_status_words(session, Direction::In, 0, id, 2, words);
    value = result != 0 ? wire::u32(words) : 0;
    return result;
}

uint32_t commit_timing(Session &session) {
    return write_status_word(session, kStatusPulse, kPulseCommit);
}

}  // namespace kavix::sensor
