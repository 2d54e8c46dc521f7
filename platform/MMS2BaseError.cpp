#include "platform/MMS2BaseError.h"

#include <cerrno>

#include "platform/KRMediaCodes.h"

unsigned int MMS2BaseError::ConvertToMMError(unsigned int nativeError)
{
    constexpr unsigned int wrongArguments = KRErrorCode::wrongArguments;
    return nativeError == EINVAL ? wrongArguments : nativeError;
}
