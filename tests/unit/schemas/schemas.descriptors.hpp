#pragma once

#include <vector>

#include <google/protobuf/descriptor.h>

namespace Schemas
{

/// All files of the schemas.
std::vector<const google::protobuf::FileDescriptor*> AllFiles();

/// All messages of these files, those inside of others too, by full name.
std::vector<const google::protobuf::Descriptor*> AllMessages();

/// All enums of these files, by full name.
std::vector<const google::protobuf::EnumDescriptor*> AllEnums();

} // namespace Schemas
