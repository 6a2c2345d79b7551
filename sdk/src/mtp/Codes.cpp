// SPDX-License-Identifier: MIT
#include "mtp/Codes.h"

namespace mtpsdk {
namespace {

constexpr std::string_view unknownName = "Unknown";
/// The standard's own responses lie in the status table in their own order, from this row on.
constexpr std::uint16_t firstFailure = raw(ResponseCode::GeneralError);
constexpr std::uint16_t lastFailure = raw(ResponseCode::SpecificationOfDestinationUnsupported);

static_assert(DGSTATUS_INTERNAL_GENERALERROR + (lastFailure - firstFailure) == DGSTATUS_INTERNAL_DESTINATIONUNSUPPORTED,
              "the status table holds one row a response, in the responses' order");

} // namespace

#define MTP_NAME_CASE(code, name)                                                                                      \
    case (code):                                                                                                       \
        return #name;
#define MTP_NAME_FUNCTION(Code, ROWS)                                                                                  \
    std::string_view codeName(Code code) {                                                                             \
        switch (raw(code)) {                                                                                           \
            ROWS(MTP_NAME_CASE)                                                                                        \
        default:                                                                                                       \
            return unknownName;                                                                                        \
        }                                                                                                              \
    }

MTP_NAME_FUNCTION(ContainerType, MTP_CONTAINER_TYPES)
MTP_NAME_FUNCTION(OperationCode, MTP_OPERATION_CODES)
MTP_NAME_FUNCTION(ResponseCode, MTP_RESPONSE_CODES)
MTP_NAME_FUNCTION(EventCode, MTP_EVENT_CODES)
MTP_NAME_FUNCTION(FormatCode, MTP_FORMAT_CODES)
MTP_NAME_FUNCTION(ObjectPropertyCode, MTP_OBJECT_PROPERTY_CODES)
MTP_NAME_FUNCTION(DevicePropertyCode, MTP_DEVICE_PROPERTY_CODES)
MTP_NAME_FUNCTION(DataType, MTP_DATA_TYPES)

#undef MTP_NAME_FUNCTION
#undef MTP_NAME_CASE

DGSTATUS statusFromResponse(ResponseCode code) {
    if (raw(code) >= firstFailure && raw(code) <= lastFailure) {
        return DGSTATUS_INTERNAL_GENERALERROR + (raw(code) - firstFailure);
    }
    switch (code) {
    case ResponseCode::OK:
        return DGSTATUS_SUCCESS;
    case ResponseCode::InvalidObjectPropCode:
    case ResponseCode::ObjectPropNotSupported:
        return DGSTATUS_INTERNAL_INVALIDOBJECTPROPCODE;
    case ResponseCode::InvalidObjectPropFormat:
        return DGSTATUS_INTERNAL_INVALIDOBJECTPROPFORMAT;
    case ResponseCode::InvalidObjectPropValue:
        return DGSTATUS_INTERNAL_INVALIDOBJECTPROPVALUE;
    case ResponseCode::InvalidObjectReference:
        return DGSTATUS_INTERNAL_INVALIDOBJECTREFERENCE;
    case ResponseCode::InvalidDataset:
        return DGSTATUS_INTERNAL_INVALIDDATASET;
    case ResponseCode::ObjectTooLarge:
        return DGSTATUS_INTERNAL_OBJECTTOOLARGE;
    case ResponseCode::GroupNotSupported:
    case ResponseCode::SpecificationByGroupUnsupported:
    case ResponseCode::SpecificationByDepthUnsupported:
        return DGSTATUS_NOT_SUPPORT_PARAM;
    default:
        return DGSTATUS_INTERNAL_GENERALERROR;
    }
}

} // namespace mtpsdk
