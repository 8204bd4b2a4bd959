#pragma once
#include "Vok/Types.h"
namespace Vok { [[noreturn]] void assertionFailed(const String& condition); }
#define vokAssert(c) do { if (!(c)) ::Vok::assertionFailed(#c); } while (0)
