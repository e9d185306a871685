// How every test program runs under AddressSanitizer, also when it is started by hand.

// The runtime guesses from an address where the C library keeps a loaded library's thread-local variables; the address
// looks right by chance now and then, and the search for leaks at the end crashes. It needs no guess: that memory is
// reachable like any other.
extern "C" const char* __asan_default_options() {
    return "intercept_tls_get_addr=0";
}
