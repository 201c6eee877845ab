# The suites of the downloads have a server of their own, which answers as each case says.
find_package(Boost 1.71 REQUIRED COMPONENTS thread)
find_package(OpenSSL REQUIRED)
add_library(localServer STATIC ../support/LocalServer.cpp)
target_include_directories(localServer PUBLIC ../support ${PROJECT_SOURCE_DIR}/src/mac/include)
target_link_libraries(localServer PUBLIC Boost::thread OpenSSL::Crypto)
function(download_test name)
  engine_test(${name} THREADS ${ARGN})
  target_link_libraries(${name} PRIVATE localServer)
endfunction()
download_test(DownloadHelperTest SOURCES FailingAllocation.cpp RefusedLock.cpp)
# Leads these calls through the test, which may count or refuse them.
target_link_options(DownloadHelperTest PRIVATE
  LINKER:--wrap=curl_easy_init,--wrap=curl_easy_getinfo,--wrap=curl_easy_setopt,--wrap=curl_easy_perform
  LINKER:--wrap=pthread_mutex_lock,--wrap=fdopen)
download_test(PackageValidationTest SEAL --servers)
set(refusedThreads LINKER:--wrap=_ZN5boost6thread21start_thread_noexceptEv)
download_test(DownloadEngineTest SOURCES FailingAllocation.cpp RefusedLock.cpp RefusedThreads.cpp SEAL --servers)
target_link_options(DownloadEngineTest PRIVATE
  LINKER:--wrap=pthread_mutex_lock,--wrap=fopen ${refusedThreads}
  LINKER:--wrap=_ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig)
download_test(DownloadControllerTest
  SOURCES ../support/Program.cpp FailingAllocation.cpp RefusedLock.cpp RefusedThreads.cpp SEAL --servers)
target_link_options(DownloadControllerTest PRIVATE LINKER:--wrap=pthread_mutex_lock ${refusedThreads})
# Runs of its own that do not end, or end the process.
target_compile_definitions(DownloadControllerTest PRIVATE PROGRAM_FILE="$<TARGET_FILE:productUpdater>")
add_dependencies(DownloadControllerTest productUpdater)
download_test(ConcurrencyTest SEAL --servers)
download_test(CancelledJobTest SOURCES RefusedLock.cpp SEAL --servers)
target_link_options(CancelledJobTest PRIVATE
  LINKER:--wrap=pthread_mutex_lock,--wrap=pthread_cond_wait,--wrap=xmlCtxtReadIO
  LINKER:--wrap=_ZN14DownloadHelper4InitEPKcS1_15CURLSetUpConfig)
download_test(SameDestinationTest SEAL --servers)
download_test(JobLockTest SOURCES ../support/Program.cpp SEAL --servers)
target_link_options(JobLockTest PRIVATE LINKER:--wrap=flock)
target_compile_definitions(JobLockTest PRIVATE PROGRAM_FILE="$<TARGET_FILE:productUpdater>")
add_dependencies(JobLockTest productUpdater)
