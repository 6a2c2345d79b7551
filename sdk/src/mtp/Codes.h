// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Status.h"

#include <cstdint>
#include <string_view>
#include <type_traits>

/// The numbers of the protocol. Each table is one list of rows that makes the enum and, in Codes.cpp, the names.
/// Codes that arrive are untrusted and may be any number: they are cast to the enum unchecked and named "Unknown".
namespace mtpsdk {

// clang-format off
#define MTP_CONTAINER_TYPES(ROW) \
    ROW(1, Command)              \
    ROW(2, Data)                 \
    ROW(3, Response)             \
    ROW(4, Event)

#define MTP_OPERATION_CODES(ROW)            \
    ROW(0x1001, GetDeviceInfo)              \
    ROW(0x1002, OpenSession)                \
    ROW(0x1003, CloseSession)               \
    ROW(0x1004, GetStorageIDs)              \
    ROW(0x1005, GetStorageInfo)             \
    ROW(0x1006, GetNumObjects)              \
    ROW(0x1007, GetObjectHandles)           \
    ROW(0x1008, GetObjectInfo)              \
    ROW(0x1009, GetObject)                  \
    ROW(0x100A, GetThumb)                   \
    ROW(0x100B, DeleteObject)               \
    ROW(0x100C, SendObjectInfo)             \
    ROW(0x100D, SendObject)                 \
    ROW(0x100E, InitiateCapture)            \
    ROW(0x100F, FormatStore)                \
    ROW(0x1010, ResetDevice)                \
    ROW(0x1011, SelfTest)                   \
    ROW(0x1012, SetObjectProtection)        \
    ROW(0x1013, PowerDown)                  \
    ROW(0x1014, GetDevicePropDesc)          \
    ROW(0x1015, GetDevicePropValue)         \
    ROW(0x1016, SetDevicePropValue)         \
    ROW(0x1017, ResetDevicePropValue)       \
    ROW(0x1018, TerminateOpenCapture)       \
    ROW(0x1019, MoveObject)                 \
    ROW(0x101A, CopyObject)                 \
    ROW(0x101B, GetPartialObject)           \
    ROW(0x101C, InitiateOpenCapture)        \
    ROW(0x95C1, GetPartialObject64)         \
    ROW(0x95C2, SendPartialObject)          \
    ROW(0x95C3, TruncateObject)             \
    ROW(0x95C4, BeginEditObject)            \
    ROW(0x95C5, EndEditObject)              \
    ROW(0x9801, GetObjectPropsSupported)    \
    ROW(0x9802, GetObjectPropDesc)          \
    ROW(0x9803, GetObjectPropValue)         \
    ROW(0x9804, SetObjectPropValue)         \
    ROW(0x9805, GetObjectPropList)          \
    ROW(0x9806, SetObjectPropList)          \
    ROW(0x9807, GetInterdependentPropDesc)  \
    ROW(0x9808, SendObjectPropList)         \
    ROW(0x9810, GetObjectReferences)        \
    ROW(0x9811, SetObjectReferences)        \
    ROW(0x9820, Skip)

#define MTP_RESPONSE_CODES(ROW)                       \
    ROW(0x2000, Undefined)                            \
    ROW(0x2001, OK)                                   \
    ROW(0x2002, GeneralError)                         \
    ROW(0x2003, SessionNotOpen)                       \
    ROW(0x2004, InvalidTransactionID)                 \
    ROW(0x2005, OperationNotSupported)                \
    ROW(0x2006, ParameterNotSupported)                \
    ROW(0x2007, IncompleteTransfer)                   \
    ROW(0x2008, InvalidStorageID)                     \
    ROW(0x2009, InvalidObjectHandle)                  \
    ROW(0x200A, DevicePropNotSupported)               \
    ROW(0x200B, InvalidObjectFormatCode)              \
    ROW(0x200C, StoreFull)                            \
    ROW(0x200D, ObjectWriteProtected)                 \
    ROW(0x200E, StoreReadOnly)                        \
    ROW(0x200F, AccessDenied)                         \
    ROW(0x2010, NoThumbnailPresent)                   \
    ROW(0x2011, SelfTestFailed)                       \
    ROW(0x2012, PartialDeletion)                      \
    ROW(0x2013, StoreNotAvailable)                    \
    ROW(0x2014, SpecificationByFormatUnsupported)     \
    ROW(0x2015, NoValidObjectInfo)                    \
    ROW(0x2016, InvalidCodeFormat)                    \
    ROW(0x2017, UnknownVendorCode)                    \
    ROW(0x2018, CaptureAlreadyTerminated)             \
    ROW(0x2019, DeviceBusy)                           \
    ROW(0x201A, InvalidParentObject)                  \
    ROW(0x201B, InvalidDevicePropFormat)              \
    ROW(0x201C, InvalidDevicePropValue)               \
    ROW(0x201D, InvalidParameter)                     \
    ROW(0x201E, SessionAlreadyOpen)                   \
    ROW(0x201F, TransactionCancelled)                 \
    ROW(0x2020, SpecificationOfDestinationUnsupported) \
    ROW(0xA801, InvalidObjectPropCode)                \
    ROW(0xA802, InvalidObjectPropFormat)              \
    ROW(0xA803, InvalidObjectPropValue)               \
    ROW(0xA804, InvalidObjectReference)               \
    ROW(0xA805, GroupNotSupported)                    \
    ROW(0xA806, InvalidDataset)                       \
    ROW(0xA807, SpecificationByGroupUnsupported)      \
    ROW(0xA808, SpecificationByDepthUnsupported)      \
    ROW(0xA809, ObjectTooLarge)                       \
    ROW(0xA80A, ObjectPropNotSupported)

#define MTP_EVENT_CODES(ROW)                  \
    ROW(0x4000, Undefined)                    \
    ROW(0x4001, CancelTransaction)            \
    ROW(0x4002, ObjectAdded)                  \
    ROW(0x4003, ObjectRemoved)                \
    ROW(0x4004, StoreAdded)                   \
    ROW(0x4005, StoreRemoved)                 \
    ROW(0x4006, DevicePropChanged)            \
    ROW(0x4007, ObjectInfoChanged)            \
    ROW(0x4008, DeviceInfoChanged)            \
    ROW(0x4009, RequestObjectTransfer)        \
    ROW(0x400A, StoreFull)                    \
    ROW(0x400B, DeviceReset)                  \
    ROW(0x400C, StorageInfoChanged)           \
    ROW(0x400D, CaptureComplete)              \
    ROW(0x400E, UnreportedStatus)             \
    ROW(0xC801, ObjectPropChanged)            \
    ROW(0xC802, ObjectPropDescChanged)        \
    ROW(0xC803, ObjectReferencesChanged)

#define MTP_FORMAT_CODES(ROW)                 \
    ROW(0x3000, Undefined)                    \
    ROW(0x3001, Association)                  \
    ROW(0x3002, Script)                       \
    ROW(0x3003, Executable)                   \
    ROW(0x3004, Text)                         \
    ROW(0x3005, HTML)                         \
    ROW(0x3006, DPOF)                         \
    ROW(0x3007, AIFF)                         \
    ROW(0x3008, WAV)                          \
    ROW(0x3009, MP3)                          \
    ROW(0x300A, AVI)                          \
    ROW(0x300B, MPEG)                         \
    ROW(0x300C, ASF)                          \
    ROW(0x300D, QuickTime)                    \
    ROW(0x3800, UndefinedImage)               \
    ROW(0x3801, EXIFJPEG)                     \
    ROW(0x3802, TIFFEP)                       \
    ROW(0x3804, BMP)                          \
    ROW(0x3807, GIF)                          \
    ROW(0x3808, JFIF)                         \
    ROW(0x380A, PICT)                         \
    ROW(0x380B, PNG)                          \
    ROW(0x380D, TIFF)                         \
    ROW(0x380F, JP2)                          \
    ROW(0x3810, JPX)                          \
    ROW(0xB802, WindowsImage)                 \
    ROW(0xB900, UndefinedAudio)               \
    ROW(0xB901, WMA)                          \
    ROW(0xB902, OGG)                          \
    ROW(0xB903, AAC)                          \
    ROW(0xB906, FLAC)                         \
    ROW(0xB980, UndefinedVideo)               \
    ROW(0xB981, WMV)                          \
    ROW(0xB982, MP4)                          \
    ROW(0xB983, MP2)                          \
    ROW(0xB984, ThreeGP)                      \
    ROW(0xBA05, AbstractAudioVideoPlaylist)   \
    ROW(0xBA10, WPLPlaylist)                  \
    ROW(0xBA11, M3UPlaylist)                  \
    ROW(0xBA82, XMLDocument)

#define MTP_OBJECT_PROPERTY_CODES(ROW)        \
    ROW(0xDC01, StorageID)                    \
    ROW(0xDC02, ObjectFormat)                 \
    ROW(0xDC03, ProtectionStatus)             \
    ROW(0xDC04, ObjectSize)                   \
    ROW(0xDC05, AssociationType)              \
    ROW(0xDC06, AssociationDesc)              \
    ROW(0xDC07, ObjectFileName)               \
    ROW(0xDC08, DateCreated)                  \
    ROW(0xDC09, DateModified)                 \
    ROW(0xDC0A, Keywords)                     \
    ROW(0xDC0B, ParentObject)                 \
    ROW(0xDC0C, AllowedFolderContents)        \
    ROW(0xDC0D, Hidden)                       \
    ROW(0xDC0E, SystemObject)                 \
    ROW(0xDC41, PersistentUniqueObjectIdentifier) \
    ROW(0xDC42, SyncID)                       \
    ROW(0xDC44, Name)                         \
    ROW(0xDC45, CreatedBy)                    \
    ROW(0xDC46, Artist)                       \
    ROW(0xDC47, DateAuthored)                 \
    ROW(0xDC48, Description)                  \
    ROW(0xDC4A, LanguageLocale)               \
    ROW(0xDC4B, CopyrightInformation)         \
    ROW(0xDC4E, DateAdded)                    \
    ROW(0xDC4F, NonConsumable)                \
    ROW(0xDC86, RepresentativeSampleData)     \
    ROW(0xDC87, Width)                        \
    ROW(0xDC88, Height)                       \
    ROW(0xDC89, Duration)                     \
    ROW(0xDC8A, Rating)                       \
    ROW(0xDC8B, Track)                        \
    ROW(0xDC8C, Genre)                        \
    ROW(0xDC8D, Credits)                      \
    ROW(0xDC91, UseCount)                     \
    ROW(0xDC92, SkipCount)                    \
    ROW(0xDC96, Composer)                     \
    ROW(0xDC97, EffectiveRating)              \
    ROW(0xDC99, OriginalReleaseDate)          \
    ROW(0xDC9A, AlbumName)                    \
    ROW(0xDC9B, AlbumArtist)                  \
    ROW(0xDC9D, DRMStatus)                    \
    ROW(0xDCE0, DisplayName)                  \
    ROW(0xDE91, TotalBitRate)                 \
    ROW(0xDE92, BitRateType)                  \
    ROW(0xDE93, SampleRate)                   \
    ROW(0xDE94, NumberOfChannels)             \
    ROW(0xDE99, AudioWAVECodec)               \
    ROW(0xDE9A, AudioBitRate)                 \
    ROW(0xDE9B, VideoFourCCCodec)             \
    ROW(0xDE9C, VideoBitRate)

#define MTP_DEVICE_PROPERTY_CODES(ROW)        \
    ROW(0x5001, BatteryLevel)                 \
    ROW(0x5011, DateTime)                     \
    ROW(0xD401, SynchronizationPartner)       \
    ROW(0xD402, DeviceFriendlyName)           \
    ROW(0xD403, Volume)                       \
    ROW(0xD404, SupportedFormatsOrdered)      \
    ROW(0xD405, DeviceIcon)                   \
    ROW(0xD406, SessionInitiatorVersionInfo)  \
    ROW(0xD407, PerceivedDeviceType)          \
    ROW(0xD410, PlaybackRate)                 \
    ROW(0xD411, PlaybackObject)

#define MTP_DATA_TYPES(ROW)  \
    ROW(0x0000, Undefined)   \
    ROW(0x0001, Int8)        \
    ROW(0x0002, UInt8)       \
    ROW(0x0003, Int16)       \
    ROW(0x0004, UInt16)      \
    ROW(0x0005, Int32)       \
    ROW(0x0006, UInt32)      \
    ROW(0x0007, Int64)       \
    ROW(0x0008, UInt64)      \
    ROW(0x0009, Int128)      \
    ROW(0x000A, UInt128)     \
    ROW(0x4001, ArrayInt8)   \
    ROW(0x4002, ArrayUInt8)  \
    ROW(0x4003, ArrayInt16)  \
    ROW(0x4004, ArrayUInt16) \
    ROW(0x4005, ArrayInt32)  \
    ROW(0x4006, ArrayUInt32) \
    ROW(0x4007, ArrayInt64)  \
    ROW(0x4008, ArrayUInt64) \
    ROW(0x4009, ArrayInt128) \
    ROW(0x400A, ArrayUInt128) \
    ROW(0xFFFF, String)
// clang-format on

#define MTP_ENUMERATOR(code, name) name = (code),
enum class ContainerType : std::uint16_t { MTP_CONTAINER_TYPES(MTP_ENUMERATOR) };
enum class OperationCode : std::uint16_t { MTP_OPERATION_CODES(MTP_ENUMERATOR) };
enum class ResponseCode : std::uint16_t { MTP_RESPONSE_CODES(MTP_ENUMERATOR) };
enum class EventCode : std::uint16_t { MTP_EVENT_CODES(MTP_ENUMERATOR) };
enum class FormatCode : std::uint16_t { MTP_FORMAT_CODES(MTP_ENUMERATOR) };
enum class ObjectPropertyCode : std::uint16_t { MTP_OBJECT_PROPERTY_CODES(MTP_ENUMERATOR) };
enum class DevicePropertyCode : std::uint16_t { MTP_DEVICE_PROPERTY_CODES(MTP_ENUMERATOR) };
enum class DataType : std::uint16_t { MTP_DATA_TYPES(MTP_ENUMERATOR) };
#undef MTP_ENUMERATOR

/// The number of a code, as it goes over the wire.
template <typename Code>
constexpr std::uint16_t raw(Code code) {
    static_assert(std::is_same_v<std::underlying_type_t<Code>, std::uint16_t>);
    return static_cast<std::uint16_t>(code);
}

// Numbers with a meaning of their own in operation parameters.
inline constexpr std::uint32_t allStorages = 0xFFFFFFFF;
inline constexpr std::uint32_t allFormats = 0;
inline constexpr std::uint32_t allProperties = 0xFFFFFFFF;
/// The root of a storage where an operation asks for a parent: 0 in data, this in parameters.
inline constexpr std::uint32_t rootParent = 0xFFFFFFFF;
/// A 32-bit size field whose real value does not fit.
inline constexpr std::uint32_t sizeUnknown = 0xFFFFFFFF;
/// Association type of an ordinary folder.
inline constexpr std::uint16_t genericFolder = 1;

/// The name of a code for logs and failure texts, "Unknown" for a number that no row holds.
[[nodiscard]] std::string_view codeName(ContainerType code);
[[nodiscard]] std::string_view codeName(OperationCode code);
[[nodiscard]] std::string_view codeName(ResponseCode code);
[[nodiscard]] std::string_view codeName(EventCode code);
[[nodiscard]] std::string_view codeName(FormatCode code);
[[nodiscard]] std::string_view codeName(ObjectPropertyCode code);
[[nodiscard]] std::string_view codeName(DevicePropertyCode code);
[[nodiscard]] std::string_view codeName(DataType code);

/// One response, one status; a response that no row holds is DGSTATUS_INTERNAL_GENERALERROR.
[[nodiscard]] DGSTATUS statusFromResponse(ResponseCode code);

} // namespace mtpsdk
