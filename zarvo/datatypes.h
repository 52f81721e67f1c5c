#pragma once

// The whole public interface of zarvo-datatypes.

#include "core/datatypes/ArrayDeleter.h"
#include "core/datatypes/DataStorage.h"
#include "core/datatypes/Frame.h"
#include "core/datatypes/GroupDiscriminator.h"
#include "core/datatypes/MarkedFloat.h"
#include "core/datatypes/TypeObject.h"
#include "core/datatypes/Variant.h"
#include "core/memory/MemoryAcsii.h"
#include "core/memory/MemoryBinary.h"
#include "valuefault/Exception.h"
#include "valuetext/ValueText.h"
