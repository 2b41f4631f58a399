// SPDX-License-Identifier: MIT
#pragma once

// What a class looks like to programs that were compiled with it, on compilers that follow the
// Itanium C++ ABI: g++ and clang.

#include <cxxabi.h>

#include <cstddef>
#include <cstring>
#include <typeinfo>

namespace layout {

/// Whether the class is derived from none: the runtime has other descriptions for those.
template <class Type>
bool HasNoBase() {
    return typeid(typeid(Type)) == typeid(abi::__class_type_info);
}

/// How many entries for virtual functions the class has: the first new one of a derived class is
/// the next. A pointer to it holds its place in bytes, plus one.
template <class Type>
std::size_t VirtualEntries() {
    struct Derived : Type {
        using Type::Type;
        virtual void Next() {}
    };
    const auto next = &Derived::Next;
    std::size_t place = 0;
    std::memcpy(&place, &next, sizeof(place));
    return (place - 1) / sizeof(void*);
}

}  // namespace layout
