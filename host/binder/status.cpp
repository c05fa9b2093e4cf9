// AStatus: the result of one binder call.
#include <android/binder_status.h>

#include <cstdio>
#include <cstring>
#include <string>

struct AStatus {
    binder_exception_t exception = EX_NONE;
    binder_status_t status = STATUS_OK;  // for EX_TRANSACTION_FAILED
    int32_t service_specific = 0;        // for EX_SERVICE_SPECIFIC
    std::string message;
};

namespace {

struct Name {
    int32_t value;
    const char* name;
};

constexpr Name kExceptionNames[] = {
    {EX_NONE, "EX_NONE"},
    {EX_SECURITY, "EX_SECURITY"},
    {EX_BAD_PARCELABLE, "EX_BAD_PARCELABLE"},
    {EX_ILLEGAL_ARGUMENT, "EX_ILLEGAL_ARGUMENT"},
    {EX_NULL_POINTER, "EX_NULL_POINTER"},
    {EX_ILLEGAL_STATE, "EX_ILLEGAL_STATE"},
    {EX_NETWORK_MAIN_THREAD, "EX_NETWORK_MAIN_THREAD"},
    {EX_UNSUPPORTED_OPERATION, "EX_UNSUPPORTED_OPERATION"},
    {EX_SERVICE_SPECIFIC, "EX_SERVICE_SPECIFIC"},
    {EX_PARCELABLE, "EX_PARCELABLE"},
    {EX_HAS_REPLY_HEADER, "EX_HAS_REPLY_HEADER"},
    {EX_TRANSACTION_FAILED, "EX_TRANSACTION_FAILED"},
};

constexpr Name kStatusNames[] = {
    {STATUS_OK, "OK"},
    {STATUS_UNKNOWN_ERROR, "UNKNOWN_ERROR"},
    {STATUS_NO_MEMORY, "NO_MEMORY"},
    {STATUS_INVALID_OPERATION, "INVALID_OPERATION"},
    {STATUS_BAD_VALUE, "BAD_VALUE"},
    {STATUS_BAD_TYPE, "BAD_TYPE"},
    {STATUS_NAME_NOT_FOUND, "NAME_NOT_FOUND"},
    {STATUS_PERMISSION_DENIED, "PERMISSION_DENIED"},
    {STATUS_NO_INIT, "NO_INIT"},
    {STATUS_ALREADY_EXISTS, "ALREADY_EXISTS"},
    {STATUS_DEAD_OBJECT, "DEAD_OBJECT"},
    {STATUS_FAILED_TRANSACTION, "FAILED_TRANSACTION"},
    {STATUS_BAD_INDEX, "BAD_INDEX"},
    {STATUS_NOT_ENOUGH_DATA, "NOT_ENOUGH_DATA"},
    {STATUS_WOULD_BLOCK, "WOULD_BLOCK"},
    {STATUS_TIMED_OUT, "TIMED_OUT"},
    {STATUS_UNKNOWN_TRANSACTION, "UNKNOWN_TRANSACTION"},
    {STATUS_FDS_NOT_ALLOWED, "FDS_NOT_ALLOWED"},
    {STATUS_UNEXPECTED_NULL, "UNEXPECTED_NULL"},
};

template <size_t N>
std::string NameOf(const Name (&names)[N], int32_t value) {
    for (const Name& n : names) {
        if (n.value == value) return n.name;
    }
    return std::to_string(value);
}

AStatus* Make(binder_exception_t exception, binder_status_t status, int32_t service_specific,
              const char* message) {
    AStatus* result = new AStatus;
    result->exception = exception;
    result->status = status;
    result->service_specific = service_specific;
    if (message != nullptr) result->message = message;
    return result;
}

}  // namespace

AStatus* AStatus_newOk() {
    return new AStatus;
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
    binder_status_t status =
        exception == EX_TRANSACTION_FAILED ? STATUS_FAILED_TRANSACTION : STATUS_OK;
    return Make(exception, status, 0, message);
}

AStatus* AStatus_fromExceptionCode(binder_exception_t exception) {
    return AStatus_fromExceptionCodeWithMessage(exception, nullptr);
}

AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message) {
    return Make(EX_SERVICE_SPECIFIC, STATUS_OK, serviceSpecific, message);
}

AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific) {
    return AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, nullptr);
}

AStatus* AStatus_fromStatus(binder_status_t status) {
    if (status == STATUS_OK) return AStatus_newOk();
    return Make(EX_TRANSACTION_FAILED, status, 0, nullptr);
}

bool AStatus_isOk(const AStatus* status) {
    return status->exception == EX_NONE;
}

binder_exception_t AStatus_getExceptionCode(const AStatus* status) {
    return status->exception;
}

int32_t AStatus_getServiceSpecificError(const AStatus* status) {
    return status->exception == EX_SERVICE_SPECIFIC ? status->service_specific : 0;
}

binder_status_t AStatus_getStatus(const AStatus* status) {
    return status->exception == EX_TRANSACTION_FAILED ? status->status : STATUS_OK;
}

const char* AStatus_getMessage(const AStatus* status) {
    return status->message.c_str();
}

const char* AStatus_getDescription(const AStatus* status) {
    std::string text;
    if (status->exception == EX_NONE) {
        text = "No error";
    } else {
        std::string detail = status->message;
        if (status->exception == EX_TRANSACTION_FAILED) {
            detail = NameOf(kStatusNames, status->status) + ": " + detail;
        } else if (status->exception == EX_SERVICE_SPECIFIC) {
            detail = std::to_string(status->service_specific) + ": " + detail;
        }
        text = "Status(" + std::to_string(status->exception) + ", " +
               NameOf(kExceptionNames, status->exception) + "): '" + detail + "'";
    }
    return strdup(text.c_str());
}

void AStatus_deleteDescription(const char* description) {
    free(const_cast<char*>(description));
}

void AStatus_delete(AStatus* status) {
    delete status;
}
