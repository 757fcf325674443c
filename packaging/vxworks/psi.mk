# For the Makefile of a downloadable kernel module (DKM) with psi in it.
#
#   PSI_DIR = /path/to/psi
#   include $(PSI_DIR)/packaging/vxworks/psi.mk
#
# and then, for kernels whose compiler does not know C++17 (5.5, 6.x):
#
#   module.out: $(MY_OBJECTS) $(PSI_OBJECT) psiVxClock.o
#           $(LD) -r -o $@ $^
#
# with PSI_OBJECT from `scripts/vxworks-object`, or, where it does (7), with $(PSI_OBJECTS) in place of $(PSI_OBJECT):
# the library's own sources, compiled by the kernel's compiler against the kernel's headers. PSI_CFLAGS is for every C
# file that includes psi.h. psiDemo.o and captureFilter.o add the demo: psiDemo "file", or psiDemo 0.

PSI_CPU    ?= powerpc
PSI_OBJECT ?= psi.o

# Compilers of old kernels have no <stdint.h>; set it to nothing for others.
PSI_STDINT ?= -DPSI_NO_STDINT
PSI_CFLAGS  = $(PSI_STDINT) -I$(PSI_DIR)/include -I$(PSI_DIR)/packaging/vxworks -I$(PSI_DIR)/examples

PSI_SOURCES  = $(wildcard $(PSI_DIR)/src/*.cpp $(PSI_DIR)/src/*/*.cpp) \
	$(wildcard $(PSI_DIR)/platform/list/*.cpp $(PSI_DIR)/platform/pool/*.cpp $(PSI_DIR)/platform/vxworks/*.cpp)
PSI_OBJECTS  = $(addprefix psi_,$(notdir $(PSI_SOURCES:.cpp=.o)))
# symFind() is there from 6.9 on; -mlongcall and the like come from the kernel's own make rules.
PSI_CXXFLAGS = -std=c++17 -O2 -fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-builtin-printf \
	-fno-builtin-sprintf -fno-common -DPSI_VXWORKS_SYMFIND \
	-I$(PSI_DIR)/include -I$(PSI_DIR)/platform -I$(PSI_DIR)/src

psi_%.o: $(PSI_DIR)/src/%.cpp
	$(CXX) $(CXXFLAGS) $(PSI_CXXFLAGS) -c -o $@ $<
psi_%.o: $(PSI_DIR)/platform/list/%.cpp
	$(CXX) $(CXXFLAGS) $(PSI_CXXFLAGS) -c -o $@ $<
psi_%.o: $(PSI_DIR)/platform/pool/%.cpp
	$(CXX) $(CXXFLAGS) $(PSI_CXXFLAGS) -c -o $@ $<
psi_%.o: $(PSI_DIR)/platform/vxworks/%.cpp
	$(CXX) $(CXXFLAGS) $(PSI_CXXFLAGS) -c -o $@ $<

psiVxClock.o psiDemo.o: %.o: $(PSI_DIR)/packaging/vxworks/%.c
	$(CC) $(CFLAGS) $(PSI_CFLAGS) -c -o $@ $<
captureFilter.o: $(PSI_DIR)/examples/captureFilter.c
	$(CC) $(CFLAGS) $(PSI_CFLAGS) -c -o $@ $<

# The object by a modern cross compiler, on a machine that has one.
psi.o:
	$(PSI_DIR)/scripts/vxworks-object $(PSI_CPU) $@ $(PSI_OPTIONS)
