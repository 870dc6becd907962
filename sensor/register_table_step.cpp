// The open's register-table step: the table is built from the camera's data
// space, and a camera that has none (or fails to tell) is left without one.
#include <memory>
#include <new>

#include "sensor/register_table.h"
#include "session/lifecycle_steps.h"

namespace kavix {

void create_register_table(Session &session) {
    std::unique_ptr<sensor::RegisterTable> table;
    try {
        table = std::make_unique<sensor::RegisterTable>(session);
    } catch (const std::bad_alloc &) {
        session.defaults.RegisterTable.reset();
        return;
    }
    // Cameras without function 64 fail the first read with 0xE0000021: the
    // normal way to learn that there is no table.
    if (table->fill() != 0) {
        session.defaults.RegisterTable.reset();
        return;
    }
    session.defaults.RegisterTable = std::move(table);
}

}  // namespace kavix
