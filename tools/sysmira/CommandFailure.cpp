#include "tools/sysmira/CommandFailure.h"

#include "support/WindowsApi.h"

namespace sysmira {

FailureCause causeOfError(std::uint32_t error) {
    switch (error) {
        case ERROR_ACCESS_DENIED:
        case ERROR_PRIVILEGE_NOT_HELD:
            return FailureCause::Denied;
        case ERROR_CALL_NOT_IMPLEMENTED:
        case ERROR_INVALID_FUNCTION:
        case ERROR_NOT_SUPPORTED:
        case ERROR_PROC_NOT_FOUND:
        case ERROR_MOD_NOT_FOUND:
        case ERROR_EVT_CHANNEL_NOT_FOUND:
        case ERROR_SERVICE_DOES_NOT_EXIST:
            return FailureCause::NotSupported;
        default:
            return FailureCause::Other;
    }
}

FailureCause causeOfResult(std::int32_t result) {
    switch (static_cast<std::uint32_t>(result)) {
        case static_cast<std::uint32_t>(E_ACCESSDENIED):
        case static_cast<std::uint32_t>(WBEM_E_ACCESS_DENIED):
        case static_cast<std::uint32_t>(WBEM_E_PRIVILEGE_NOT_HELD):
            return FailureCause::Denied;
        case static_cast<std::uint32_t>(E_NOTIMPL):
        case static_cast<std::uint32_t>(REGDB_E_CLASSNOTREG):
        case static_cast<std::uint32_t>(WBEM_E_INVALID_CLASS):
        case static_cast<std::uint32_t>(WBEM_E_INVALID_NAMESPACE):
        case static_cast<std::uint32_t>(WBEM_E_NOT_SUPPORTED):
        case static_cast<std::uint32_t>(WBEM_E_NOT_FOUND):
            return FailureCause::NotSupported;
        default:
            return FailureCause::Other;
    }
}

}  // namespace sysmira
