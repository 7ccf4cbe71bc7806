// The stub is built without exceptions, so the C++ library's throwing helpers (a string grown
// past its limit, a failed allocation) end the program here instead. Defined here, the
// library's own, which bring in its exception classes and a second string implementation,
// stay out of the program.
#include <cstdlib>

namespace std {
[[noreturn]] void __throw_bad_cast() { abort(); }
[[noreturn]] void __throw_bad_alloc() { abort(); }
[[noreturn]] void __throw_bad_typeid() { abort(); }
[[noreturn]] void __throw_bad_exception() { abort(); }
[[noreturn]] void __throw_bad_array_new_length() { abort(); }
[[noreturn]] void __throw_logic_error(const char*) { abort(); }
[[noreturn]] void __throw_range_error(const char*) { abort(); }
[[noreturn]] void __throw_domain_error(const char*) { abort(); }
[[noreturn]] void __throw_length_error(const char*) { abort(); }
[[noreturn]] void __throw_out_of_range(const char*) { abort(); }
[[noreturn]] void __throw_runtime_error(const char*) { abort(); }
[[noreturn]] void __throw_overflow_error(const char*) { abort(); }
[[noreturn]] void __throw_underflow_error(const char*) { abort(); }
[[noreturn]] void __throw_invalid_argument(const char*) { abort(); }
[[noreturn]] void __throw_out_of_range_fmt(const char*, ...) { abort(); }
}  // namespace std

// The handler that would print the failed exception's name brings a whole name demangler.
namespace __gnu_cxx {
[[noreturn]] void __verbose_terminate_handler() { abort(); }
}  // namespace __gnu_cxx

// bzip2 built without its file functions asks the program what to do with an internal error.
extern "C" void bz_internal_error(int) { abort(); }
