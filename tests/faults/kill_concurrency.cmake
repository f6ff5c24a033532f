# The campaigns on the real program: it is killed in mid-run, runs collide, links are swapped in.
# A share of each, unless K7K_CAMPAIGN says how much. Not with sanitizers: their library has to come
# first in a process, and kills and races find nothing more with them.
if(NOT K7K_SANITIZE)
  # add_campaign(NAME SHARE): NAME_campaign.py, registered as <preset>.NAME.
  function(add_campaign name share)
    add_test(NAME ${preset}.${name} COMMAND
      ${python} ${CMAKE_CURRENT_LIST_DIR}/${name}_campaign.py --platform ${where}
      --program $<TARGET_FILE:K7KObsConnectorInstaller> --share ${share}
      --work ${PROJECT_BINARY_DIR}/tmp/${name} ${ARGN})
    set_tests_properties(${preset}.${name} PROPERTIES TIMEOUT 3600 LABELS campaign)
  endfunction()

  if(WIN32)
    add_campaign(kill 15)
    add_campaign(race 30)
    # No swaps: Wine deletes by whole Unix paths, where a link of a Unix process can win whatever
    # the program does. The host has them.
  else()
    enable_language(C)
    add_library(kill_shim MODULE ${CMAKE_CURRENT_LIST_DIR}/kill_shim.c)
    set_target_properties(kill_shim PROPERTIES PREFIX "" C_STANDARD 11)
    target_compile_options(kill_shim PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    target_link_libraries(kill_shim PRIVATE ${CMAKE_DL_LIBS})
    add_test(NAME ${preset}.campaign_rules COMMAND
      ${python} ${CMAKE_CURRENT_LIST_DIR}/rules_check.py)
    set_tests_properties(${preset}.campaign_rules PROPERTIES LABELS campaign)
    foreach(campaign IN ITEMS kill race swap)
      add_campaign(${campaign} 40 --shim $<TARGET_FILE:kill_shim>)
      not_beside_obs(${preset}.${campaign})
    endforeach()
  endif()
endif()
