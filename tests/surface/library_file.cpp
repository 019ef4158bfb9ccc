#include "library_file.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

typedef ElfW(Ehdr) FileHeader;
typedef ElfW(Shdr) SectionHeader;
typedef ElfW(Sym) Symbol;
typedef ElfW(Dyn) DynamicEntry;

// The records of one section, copied out so that alignment in the file does not matter.
template <typename Record>
std::vector<Record> recordsOf(const std::string& file, const SectionHeader& section) {
    std::vector<Record> records(section.sh_size / sizeof(Record));
    if (!records.empty() && section.sh_offset + section.sh_size <= file.size())
        std::memcpy(records.data(), file.data() + section.sh_offset, records.size() * sizeof(Record));
    return records;
}

std::string textAt(const std::string& file, const SectionHeader& texts, size_t index) {
    const size_t start = static_cast<size_t>(texts.sh_offset) + index;
    return start < file.size() ? std::string(file.c_str() + start) : std::string();
}

void addSymbol(LibraryFile& result, const std::string& name, const Symbol& symbol) {
    const unsigned char binding = symbol.st_info >> 4;
    const unsigned char type = symbol.st_info & 0xF;
    if (symbol.st_shndx == SHN_UNDEF || binding == STB_LOCAL)
        return;
    result.exports.push_back(name);
    if (type == STT_FUNC)
        result.functions.push_back(name);
    if (binding == STB_GNU_UNIQUE)
        result.uniqueSymbols.push_back(name);
}

}  // namespace

LibraryFile readLibraryFile(const std::string& path) {
    LibraryFile result;
    std::ifstream stream(path, std::ios::binary);
    const std::string file((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    FileHeader header;
    if (file.size() < sizeof header || file.compare(0, SELFMAG, ELFMAG) != 0) {
        result.problem = path + " cannot be read or is not an ELF file";
        return result;
    }
    std::memcpy(&header, file.data(), sizeof header);
    SectionHeader whole = SectionHeader();
    whole.sh_offset = header.e_shoff;
    whole.sh_size = static_cast<decltype(whole.sh_size)>(header.e_shnum * sizeof(SectionHeader));
    const std::vector<SectionHeader> sections = recordsOf<SectionHeader>(file, whole);

    for (const SectionHeader& section : sections) {
        if (section.sh_link >= sections.size())
            continue;
        const SectionHeader& texts = sections[section.sh_link];
        if (section.sh_type == SHT_DYNSYM) {
            for (const Symbol& symbol : recordsOf<Symbol>(file, section))
                addSymbol(result, textAt(file, texts, symbol.st_name), symbol);
        } else if (section.sh_type == SHT_DYNAMIC) {
            for (const DynamicEntry& entry : recordsOf<DynamicEntry>(file, section)) {
                if (entry.d_tag == DT_NEEDED)
                    result.needed.push_back(textAt(file, texts, static_cast<size_t>(entry.d_un.d_val)));
            }
        }
    }
    std::sort(result.exports.begin(), result.exports.end());
    std::sort(result.functions.begin(), result.functions.end());
    return result;
}
