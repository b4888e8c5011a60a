#include "engine/RunRecord.hpp"
#include "tests/fuzz/FuzzTarget.hpp"

#include <algorithm>
#include <filesystem>
#include <string>

namespace {

/// True when the path, put below any folder, names something below it.
bool staysBelow(const std::string& text) {
    const std::filesystem::path base("/base");
    const std::string place = (base / text).lexically_normal().string();
    return text.find('\0') == std::string::npos && place.starts_with("/base/") && place != "/base/";
}

bool isName(const std::string& text) {
    return staysBelow(text) && text.find('/') == std::string::npos;
}

} // namespace

/// No path of a record that is read climbs out of its folder, and the record written again reads the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    engine::RunRecord record;
    if (!fuzz::accepts([&] { record = engine::decodeRunRecord(fuzz::bytes(data, size), "record"); })) {
        return 0;
    }
    fuzz::require(isName(record.backup) && isName(record.staging) && record.staging.starts_with("Staging-"));
    fuzz::require(std::ranges::all_of(
        record.places, [](const auto& place) { return staysBelow(place.path) && staysBelow(place.saved); }));
    fuzz::require(
        std::ranges::all_of(record.folders, [](const auto& folder) { return staysBelow(folder.first); }));
    const std::string written = engine::encodeRunRecord(record);
    fuzz::require(engine::encodeRunRecord(engine::decodeRunRecord(written, "again")) == written);
    return 0;
}
