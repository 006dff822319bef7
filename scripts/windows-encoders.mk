# The encoders that FFmpeg has not got itself, cross-built from unpacked sources below SOURCES
# and installed into PREFIX. Each is a handful of C files: nothing needs to be configured.
CFLAGS = -O2 -w
objects = $(patsubst %.c,%.o,$(1))

ogg := $(wildcard $(SOURCES)/libogg/src/*.c)
vorbis := $(filter-out %/psytune.c %/tone.c %/barkmel.c,$(wildcard $(SOURCES)/libvorbis/lib/*.c))
lame := $(wildcard $(SOURCES)/lame/libmp3lame/*.c $(SOURCES)/lame/libmp3lame/vector/*.c)

install: libogg.a libvorbis.a libmp3lame.a opus
	mkdir -p $(PREFIX)/lib/pkgconfig $(PREFIX)/include/lame $(PREFIX)/include/opus
	cp libogg.a libvorbis.a libmp3lame.a $(SOURCES)/opus/libopus.a $(PREFIX)/lib
	cp -r $(SOURCES)/libogg/include/ogg $(SOURCES)/libvorbis/include/vorbis $(PREFIX)/include
	cp $(SOURCES)/lame/include/lame.h $(PREFIX)/include/lame
	cp $(SOURCES)/opus/include/*.h $(PREFIX)/include/opus
	for name in vorbis vorbisenc opus; do \
	    printf 'prefix=%s\nName: %s\nDescription: encoder\nVersion: 1.3\n' $(PREFIX) $$name \
	        >$(PREFIX)/lib/pkgconfig/$$name.pc; \
	done
	for name in vorbis vorbisenc; do \
	    printf 'Cflags: -I%s/include\nLibs: -L%s/lib -lvorbis -logg\n' $(PREFIX) $(PREFIX) \
	        >>$(PREFIX)/lib/pkgconfig/$$name.pc; \
	done
	printf 'Cflags: -I%s/include/opus\nLibs: -L%s/lib -lopus\n' $(PREFIX) $(PREFIX) \
	    >>$(PREFIX)/lib/pkgconfig/opus.pc

libogg.a: $(call objects,$(ogg))
libvorbis.a: $(call objects,$(vorbis))
libmp3lame.a: $(call objects,$(lame))
$(call objects,$(ogg)): CPPFLAGS = -I$(SOURCES)/libogg/include
$(call objects,$(vorbis)): CPPFLAGS = -I$(SOURCES)/libogg/include -I$(SOURCES)/libvorbis/include \
    -I$(SOURCES)/libvorbis/lib
$(call objects,$(lame)): CPPFLAGS = -I$(SOURCES)/lame/include -I$(SOURCES)/lame \
    -I$(SOURCES)/lame/mpglib -I$(SOURCES)/lame/libmp3lame -DHAVE_CONFIG_H
$(call objects,$(lame)): $(SOURCES)/lame/config.h
$(SOURCES)/lame/config.h: $(SOURCES)/lame/configMS.h
	cp $< $@

%.a:
	rm -f $@ && $(AR) rcs $@ $^

.PHONY: install opus
opus:
	$(MAKE) -C $(SOURCES)/opus -f Makefile.unix CC=$(CC) AR=$(AR) lib
