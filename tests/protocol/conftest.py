from box_fixtures import *  # noqa: F401,F403  options, hooks and fixtures stand there
