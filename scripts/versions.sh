# The third-party libraries that scripts/setup.sh builds into the cache,
# by version: read by setup.sh, .ci/fresh_setup.sh and cmake/Deps.cmake.
PCRE_VER=8.39
LUA_VER=5.1.5
