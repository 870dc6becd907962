#pragma once
#include <cstdint>
#include <cstdio>

// Where the JPEG encoder's bytes go.
namespace kavix {

// An abstract stream that can be opened and closed.
class CBaseStream {
public:
    virtual ~CBaseStream() = default;
    virtual int Open() = 0;
    virtual int Close() = 0;
};

// A stream that takes bytes. Write sets *written to the bytes taken and
// returns 0, or -5 when it took fewer than `size`.
class CBaseStreamOutput : public CBaseStream {
public:
    virtual int Write(const void* data, uint32_t size, uint32_t* written) = 0;
};

// Writes to a C FILE that the caller opened and closes; the file is not owned.
class CStdFileOutput2 : public CBaseStreamOutput {
public:
    explicit CStdFileOutput2(FILE* file) : file_(file) {}

    int Open() override { return 0; }
    int Close() override;
    int Write(const void* data, uint32_t size, uint32_t* written) override;

private:
    FILE* file_;
};

}  // namespace kavix
