# Builds and tests from a clean Debian:
#   docker build -t tarnlib .          what the build needs, and the build
#   docker run --rm tarnlib            ./test.sh
#   docker build --target tools .      what the build needs alone, as the devcontainer has it
FROM debian:12 AS tools
WORKDIR /tarnlib
# What the set-up reads, so that other changes do not repeat it.
COPY scripts scripts
COPY src/numerics/slatec_routines.txt src/numerics/
COPY crt/musl_routines.txt crt/
RUN scripts/setup.sh

FROM tools
COPY . .
RUN ./build.sh
CMD ["./test.sh"]
