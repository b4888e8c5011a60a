#include "engine/Description.hpp"

#include "engine/PackRecords.hpp"
#include "platform/Error.hpp"

#include <new>
#include <system_error>

namespace engine {

std::string localizedDescription(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const InstallError& error) {
        return error.message; // what() ends at a zero byte
    } catch (const platform::Error& error) {
        return error.what();
    } catch (const std::filesystem::filesystem_error& error) {
        return platform::fileError("utiliser", error.path1(), error.code().value()).what();
    } catch (const std::system_error& error) {
        return "Le système a refusé une opération : " + platform::reason(error.code().value()) + ".";
    } catch (const std::bad_alloc&) {
        return "La mémoire manque.";
    } catch (const std::exception& error) {
        return std::string("Une erreur inattendue s’est produite : ") + error.what() + ".";
    } catch (...) {
        return "Une erreur inattendue s’est produite.";
    }
}

} // namespace engine
