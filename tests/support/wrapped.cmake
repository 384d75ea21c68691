# The C library's functions that tests/support/faults.cpp stands in front of.
set(wrapped_functions
  malloc calloc realloc free memalign aligned_alloc posix_memalign strdup
  mmap mmap64 mremap munmap memfd_create
  open open64 mkostemp mkostemp64 mkostemps mkostemps64 fcntl fcntl64
  write pwrite pwrite64 ftruncate ftruncate64 fallocate fallocate64 sendfile sendfile64)
list(TRANSFORM wrapped_functions PREPEND "-Wl,--wrap=")
