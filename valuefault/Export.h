#pragma once

// Which names the three shared libraries (valuefault, valuetext, zarvo_datatypes)
// show to their users. They are compiled with hidden visibility, so a name is part
// of their interface only where its declaration says so:
//
//   class ZARVO_EXPORT Variant { ... };                a class: members, vtable, typeinfo
//   ZARVO_EXPORT const char* getStringFromType(...);   a free function defined in a .cpp
//   extern template class ZARVO_EXPORT Variant_<int>;  an instance compiled in the library;
//                                                      GCC takes its visibility from this
//                                                      declaration, not from the definition
//   static ZARVO_NO_EXPORT DataStorage read(...);      a private member of an exported class
//                                                      that no inline code calls
//
// Templates and inline functions are compiled in the caller and need nothing; what
// they call in the libraries does, private members and static data included (the
// inline TypeObject::findP reads TypeObject::s_byTypeAddress). A caller's own
// template instance, Variant_<MyType> or TypeObject_<MyType>, gets the vtable and
// typeinfo of its exported base from the library. The same declarations serve the
// libraries and their users: with GCC and clang on ELF, exporting and importing are
// one attribute. Public headers include this one directly or through
// valuefault/Exception.h.

/// Makes a declaration part of the libraries' dynamic interface.
#define ZARVO_EXPORT __attribute__((visibility("default")))
/// Keeps a member of an exported class out of that interface.
#define ZARVO_NO_EXPORT __attribute__((visibility("hidden")))
