#include "platform/Unicode.hpp"

#include "platform/Error.hpp"

#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>

namespace platform {

std::string composed(std::string_view text) {
    std::string result;
    icu::StringByteSink<std::string> sink(&result);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* form = icu::Normalizer2::getNFCInstance(status);
    if (U_SUCCESS(status)) {
        const icu::StringPiece bytes(text.data(), static_cast<std::int32_t>(text.size()));
        form->normalizeUTF8(0, bytes, sink, nullptr, status);
    }
    if (U_FAILURE(status)) {
        throw Error("Impossible de composer les accents d’un nom.");
    }
    return result;
}

} // namespace platform
