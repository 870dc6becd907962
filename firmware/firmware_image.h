#pragma once
// The controller firmware of the models without FPGA: Intel HEX images kept
// as files in the library's firmware directory, one per model, named by the
// resource id of the model ("128.hex").
#include <cstdint>
#include <string>
#include <vector>

namespace kavix::firmware {

// An image must stay below this size to be loaded; it is also the size of
// the buffer it is read into.
inline constexpr uint32_t kImageBufferBytes = 0x15000;

// Program memory of the controller: the capacity of a parsed image.
inline constexpr uint32_t kProgramMemoryBytes = 16384;

// The resource id of a model's image. Ids other than the three named ones
// get 130, the image of 0x0805.
uint16_t resource_id_for_model(uint16_t product_id);

// The file that holds the image with `resource_id` in `directory`.
std::string image_path(const std::string &directory, uint16_t resource_id);

// Reads the image with `resource_id` from `directory` into `text`, which is
// cleared and sized kImageBufferBytes; `length` is the image's size. Gives 0
// or a Windows error number: 2 for a missing image, 8 for an image of
// kImageBufferBytes or more, 5 when it may not be read, 31 for other read
// failures. May throw std::bad_alloc.
uint32_t load_image(const std::string &directory, uint16_t resource_id, std::vector<char> &text,
                    uint32_t &length);

}  // namespace kavix::firmware
