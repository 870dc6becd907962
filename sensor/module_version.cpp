#include "sensor/module_version.h"

#include <dlfcn.h>
#include <elf.h>

#include <cstring>
#include <fstream>
#include <vector>

namespace kavix::sensor {

// The stamp itself: an allocated note section, so that it travels in the
// file like a build id and `readelf -n` shows it.
#define KAVIX_STRINGIFY2(x) #x
#define KAVIX_STRINGIFY(x) KAVIX_STRINGIFY2(x)
asm(".pushsection .note.kavix.version,\"a\",@note\n"
    ".balign 4\n"
    ".long 6\n"   // name size, "Kavix" and its terminator
    ".long 16\n"  // four words
    ".long 1\n"   // kVersionNoteType
    ".asciz \"Kavix\"\n"
    ".balign 4\n"
    ".long (" KAVIX_STRINGIFY(KAVIX_VERSION_MAJOR) " << 16) | " KAVIX_STRINGIFY(KAVIX_VERSION_MINOR) "\n"
    ".long " KAVIX_STRINGIFY(KAVIX_VERSION_PATCH) " << 16\n"
    ".long (" KAVIX_STRINGIFY(KAVIX_VERSION_MAJOR) " << 16) | " KAVIX_STRINGIFY(KAVIX_VERSION_MINOR) "\n"
    ".long " KAVIX_STRINGIFY(KAVIX_VERSION_PATCH) " << 16\n"
    ".popsection\n");
#undef KAVIX_STRINGIFY
#undef KAVIX_STRINGIFY2

namespace {

// A symbol of this object: wherever it was loaded from is the library file.
void anchor() {}

template <typename T>
bool read_at(std::ifstream &file, uint64_t offset, T *out, size_t count = 1) {
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char *>(out), static_cast<std::streamsize>(sizeof(T) * count));
    return static_cast<bool>(file);
}

uint32_t align4(uint32_t n) { return (n + 3u) & ~3u; }

bool find_note(const std::vector<uint8_t> &notes, ModuleVersion &version) {
    size_t at = 0;
    while (at + sizeof(Elf64_Nhdr) <= notes.size()) {
        Elf64_Nhdr header;
        std::memcpy(&header, notes.data() + at, sizeof header);
        const size_t name_at = at + sizeof header;
        const size_t desc_at = name_at + align4(header.n_namesz);
        const size_t next = desc_at + align4(header.n_descsz);
        if (next > notes.size() || next <= at) return false;
        if (header.n_type == kVersionNoteType && header.n_namesz == sizeof kVersionNoteName &&
            header.n_descsz == 4 * sizeof(uint32_t) &&
            std::memcmp(notes.data() + name_at, kVersionNoteName, sizeof kVersionNoteName) == 0) {
            uint32_t words[4];
            std::memcpy(words, notes.data() + desc_at, sizeof words);
            version = {words[0], words[1], words[2], words[3]};
            return true;
        }
        at = next;
    }
    return false;
}

}  // namespace

std::string own_module_path() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void *>(&anchor), &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    return info.dli_fname;
}

bool read_module_version(const std::string &path, ModuleVersion &version) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    Elf64_Ehdr elf;
    if (!read_at(file, 0, &elf)) return false;
    if (std::memcmp(elf.e_ident, ELFMAG, SELFMAG) != 0 || elf.e_ident[EI_CLASS] != ELFCLASS64 ||
        elf.e_ident[EI_DATA] != ELFDATA2LSB || elf.e_shentsize != sizeof(Elf64_Shdr)) {
        return false;
    }
    for (uint32_t i = 0; i < elf.e_shnum; ++i) {
        Elf64_Shdr section;
        if (!read_at(file, elf.e_shoff + uint64_t{i} * sizeof section, &section)) return false;
        // A note section is small; anything huge is not ours.
        if (section.sh_type != SHT_NOTE || section.sh_size > 0x10000) continue;
        std::vector<uint8_t> notes(section.sh_size);
        if (!read_at(file, section.sh_offset, notes.data(), notes.size())) return false;
        if (find_note(notes, version)) return true;
    }
    return false;
}

}  // namespace kavix::sensor
