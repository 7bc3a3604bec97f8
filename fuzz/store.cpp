// The store of settings, tables and environments on any bytes: what is read is written again and
// read the same, and what is refused changes nothing.
#include "fuzz/FuzzInput.h"
#include "util/store/Csv.h"
#include "util/store/EnvMgr.h"
#include "util/store/FakeRegistry.h"
#include "util/sys/errhdl.h"

#include <cstring>

using namespace Quil;

namespace {

stringEx Text(const std::string& bytes) {
    return stringEx(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

/// Bytes with the sum behind them that a file has: else nothing but the sum would be looked at.
byteEx WithSum(const std::string& bytes) {
    constexpr unsigned char ID = 0x83;
    byteEx file = static_cast<byteEx>(Text(bytes));
    const std::uint32_t sum = hash_value(file);
    unsigned char tail[5] = {ID};
    std::memcpy(tail + 1, &sum, sizeof sum);
    return file.append(byteEx(tail, sizeof tail));
}

void CheckRegistry(const CFakeRegistry& registry) {
    const byteEx bytes = registry.Encode();
    CFakeRegistry again;
    again.Decode(bytes);
    FUZZ::Require(again.Encode() == bytes, "a file holds all of it");
    again.Clear();
    again.ImportIni(registry.ExportIni());
    FUZZ::Require(again.Encode() == bytes ||
                      registry.ExportIni().find("wstring:") != stringEx::npos,
                  "an INI file does, but for wide text that is none");
    const stringEx csv = registry.ExportCsv().Format();
    CCsv table;
    table.Parse(csv);
    FUZZ::Require(table.Format() == csv, "the table comes back");
}

void CheckTable(const std::string& text) {
    CCsv table;
    try {
        table.Parse(Text(text));
    } catch (const csvExp&) {
        FUZZ::Require(table.GetRowCount() == 0, "a table that is refused isn't there");
        return;
    }
    CCsv again;
    again.Parse(table.Format());
    FUZZ::Require(again == table, "a table comes back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    const unsigned int kind = input.Below(4);
    const std::string rest = input.Rest();
    CFakeRegistry registry;
    try {
        if (kind == 0) {
            registry.Decode(WithSum(rest));
        } else if (kind == 1) {
            registry.ImportIni(Text(rest));
        } else if (kind == 2) {
            CheckTable(rest);
        } else {
            CEnvMgr({"A=" + Text(rest), "B=${A}${C:-${B}}", "C="}).Expand("${A}${B}");
        }
    } catch (const regExp&) {
        FUZZ::Require(!registry.IsChanged(), "what is refused changes nothing");
        return 0;
    } catch (const auxExp&) {
        return 0;
    }
    try {
        CheckRegistry(registry);
    } catch (const qlExp& failure) {
        FUZZ::Require(false, failure.GetErrString().c_str());
    }
    return 0;
}
