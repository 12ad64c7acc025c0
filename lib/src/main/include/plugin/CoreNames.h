#pragma once

// Short names of the foundation library for all code above it, which is in the global namespace.

#include "core/Exception.h"
#include "core/InputStream.h"
#include "core/Object.h"
#include "core/OutputStream.h"
#include "core/Ref.h"
#include "core/Shared.h"
#include "core/String.h"

using base::core::concat;
using base::core::EOSException;
using base::core::Exception;
using base::core::InputStream;
using base::core::IOException;
using base::core::NonCopyable;
using base::core::NonMovable;
using base::core::Object;
using base::core::OutputStream;
using base::core::PublishedPointer;
using base::core::PublishedRef;
using base::core::readNative;
using base::core::Ref;
using base::core::Relaxed;
using base::core::String;
using base::core::StringBuilder;
using base::core::writeNative;
