/*
 * How a player ends: requests of the application, the player's thread with its nested play loop, the
 * system service, and the handles that keep the player alive. README.md says what is left out, what is
 * checked, and where each part stands in the code, whose names are used here.
 *
 * Bounds: two application threads make up to CALLS_1 and CALLS_2 calls, any of six, and the callback of
 * a stop one more. How tracks end, and which fail to load, is open at every point. Queues and nesting are
 * large enough for all calls; assertions say so.
 *
 * Each BROKEN_... takes one rule away, and `make model` wants to see that this is found.
 */
#ifndef CALLS_1
#define CALLS_1 2
#define CALLS_2 2
#endif
#define CALLS (CALLS_1 + CALLS_2 + 1)
#define TASKS (CALLS + 2) /* a tick, too; one place stays free */

mtype:job = { play, pause, stop, set_audio_track, start_fade, tick, last_stop };
mtype:event = { callback, finish_destroy, release_player };
mtype:qz_audio_status = { none, opened, loaded, playing, paused, stopped };

/* The thread service and the system service. The flag of a job is that of the stop which is watched. */
chan waiting = [TASKS] of { mtype:job, bool };
chan system_waiting = [TASKS] of { mtype:event, bool };
bool service_stopped;
bool thread_ended;

/* The interval of a fade. Its closure holds a handle, asleep, waiting as a tick, or running. */
bool interval;
bool asleep;

/* The player. */
#ifdef BROKEN_NO_HOLDS
#define HOLD 0
#else
#define HOLD 1 /* what the registry and each closure add to the handles */
#endif
byte handles = 2 + HOLD; /* at first one of each application thread, and the registry's */
bool gone;               /* its destructor has run */
bool object_destroyed;
bool closed;
byte play_generation;

/* Its record. */
mtype:qz_audio_status status = none;
bool mh;         /* decoder and output are there */
bool destroy_finished; /* the record is the system service's now */

/* One of all stops, whichever, is watched. */
bool watched;
bool ran;
bool called;

ltl destruction_completes { [] (object_destroyed -> <> (gone && thread_ended)) }
ltl stop_is_answered { [] (ran -> <> called) }

/* Handles -------------------------------------------------------------------------------------------- */

inline take_handle()
{
    assert(!gone);
    handles = handles + HOLD
}

inline drop(count)
{
    atomic {
        assert(handles >= count);
        handles = handles - count;
        if
        :: count > 0 && handles == 0 -> destructor()
        :: else
        fi
    }
}

inline destructor()
{
    assert(!gone);
    gone = true;
#ifdef BROKEN_JOIN
    thread_ended /* waits for the player's thread, which may be this one */
#endif
}

/* Requests, from any thread -------------------------------------------------------------------------- */

inline thread_service_exec(work, mark)
{
    atomic {
        assert(!gone);
        if
#ifndef BROKEN_POST_AFTER_STOP
        :: service_stopped
#endif
        :: else ->
            take_handle();
            waiting!work(mark);
            assert(nfull(waiting))
        fi
    }
}

inline system_service_exec(work, mark)
{
    atomic {
        take_handle();
        system_waiting!work(mark);
        assert(nfull(system_waiting))
    }
}

inline request_stop()
{
    if
    :: atomic { !watched -> watched = true }; thread_service_exec(stop, true)
    :: thread_service_exec(stop, false)
    fi
}

inline destroy()
{
    if
    :: object_destroyed
    :: atomic {
            !object_destroyed ->
#ifndef BROKEN_NO_MARK
            object_destroyed = true
#endif
        };
        thread_service_exec(last_stop, false)
    fi
}

inline call_any()
{
    if
    :: thread_service_exec(play, false)
    :: thread_service_exec(pause, false)
    :: thread_service_exec(set_audio_track, false)
    :: thread_service_exec(start_fade, false)
    :: request_stop()
    :: destroy()
    fi
}

proctype application(byte calls)
{
    do
    :: calls > 0 -> calls--; call_any()
    :: break
    od;
    drop(1)
}

/* The system service --------------------------------------------------------------------------------- */

proctype system_service()
{
    mtype:event work;
    bool mark;
    bool called_back;

end_idle:
    do
    :: system_waiting?work(mark);
        if
        :: work == callback ->
            atomic {
                if
                :: mark -> assert(ran && !called); called = true
                :: else
                fi
            };
            if
            :: !called_back -> called_back = true; call_any()
            :: true
            fi
        :: work == finish_destroy ->
            atomic { assert(!gone && !destroy_finished); destroy_finished = true; status = none; mh = false };
            atomic { take_handle(); service_stopped = true } /* the completion's */
        :: work == release_player ->
            drop(HOLD) /* the registry's */
        fi;
        drop(HOLD)
    od
}

/* The player's thread -------------------------------------------------------------------------------- */

/* Comes before every look at the record. A body is one step: a release that could fall into it could also
   fall right before it. */
inline use_record() { assert(!gone && !destroy_finished && mh == (status != none)) }

inline do_set_audio_track()
{
    use_record();
    if
    :: mh = true; status = loaded
    :: mh = true -> /* no such file */
        if
        :: status == none || status == playing -> status = opened
        :: else
        fi
    :: mh = false; status = none
    fi
}

inline do_pause()
{
    use_record();
    if
    :: status == playing -> status = paused
    :: else
    fi
}

inline do_stop()
{
    use_record();
    if
    :: status == playing || status == paused -> status = stopped
    :: else
    fi
}

inline do_stop_unless_closed()
{
    atomic {
        if
        :: !closed -> do_stop()
        :: else
        fi
    }
}

inline do_start_fade()
{
    if
    :: !interval -> take_handle(); interval = true; asleep = true
    :: else
    fi
}

inline post_completion(mark)
{
    atomic {
        ran = ran || mark;
        if
#ifdef BROKEN_SILENT_WHEN_CLOSED
        :: closed
#endif
        :: else -> system_service_exec(callback, mark)
        fi
    }
}

inline end_interval()
{
    interval = false;
    drop(HOLD)
}

/* A fade's tick may become due whenever it is asleep. */
inline queue_due_tick()
{
    atomic { !service_stopped && asleep -> asleep = false; waiting!tick(false) }
}

inline take_job()
{
    atomic { !service_stopped && nempty(waiting) -> waiting?work(mark) }
}

proctype players_thread()
{
    byte level; /* play tasks under way, each but the first nested in the one before */
    byte mine[CALLS];
    mtype:job work;
    bool mark;

wait_for_job:
end_idle:
    if
    :: take_job(); goto run_job
    :: queue_due_tick(); goto wait_for_job
    :: service_stopped -> goto drop_the_rest
    fi;

run_job:
    assert(!gone);
    if
    :: work == tick -> goto run_tick
    :: work == last_stop ->
        do_stop_unless_closed();
#ifndef BROKEN_NO_CLOSED
        closed = true;
#endif
        system_service_exec(finish_destroy, false)
    :: work == stop ->
        do_stop_unless_closed();
        post_completion(mark)
    :: work == play && !closed -> goto do_play
    :: work == pause && !closed -> atomic { do_pause() }
    :: work == set_audio_track && !closed -> atomic { do_set_audio_track() }
    :: work == start_fade && !closed -> atomic { do_start_fade() }
    :: else /* closed */
    fi;

task_done:
    drop(HOLD);

job_done:
    if
    :: level == 0 -> goto wait_for_job
    :: else -> goto ran_nested
    fi;

run_tick:
    if
    :: closed -> end_interval()
    :: !closed ->
        use_record();
        if
        :: atomic { !service_stopped -> asleep = true }
        :: end_interval()
        fi
    fi;
    goto job_done;

do_play:
    atomic {
        play_generation++;
        mine[level] = play_generation;
        level++;
        if
        :: status == none -> do_set_audio_track()
        :: else -> use_record()
        fi;
        if
        :: status == loaded || status == stopped ->
            if /* restart_output */
            :: status = loaded
            :: mh = false; status = none
            fi
        :: else
        fi;
        if
        :: status == loaded || status == paused
        :: else -> goto leave
        fi
    };
    /* The first block. */
    use_record();
    if
    :: status = playing; goto run_one_only
    :: goto finish
    fi;

read_block:
    use_record();
    if
    :: goto run_one_only
    :: goto finish
    fi;

run_one_only:
    if
    :: take_job(); goto run_job
    :: queue_due_tick(); goto run_one_only
    :: atomic { service_stopped || empty(waiting) }; goto decide
    fi;

ran_nested:
#ifdef BROKEN_STATUS_BEFORE_CLOSED
    use_record();
#endif
#ifndef BROKEN_LOOP_IGNORES_CLOSED
    if
    :: closed -> goto leave
    :: else
    fi;
#endif
    use_record();
    if
    :: status == playing -> goto run_one_only
    :: else
    fi;

decide:
    use_record();
    if
    :: mine[level - 1] != play_generation -> goto leave
    :: else
    fi;
    if
    :: status == playing || status == paused || status == stopped -> goto read_block
    :: goto finish
    fi;

finish:
    atomic {
        use_record();
        if
        :: status == playing -> do_stop()
        :: else
        fi
    };

leave:
    assert(!gone);
    level--;
    mine[level] = 0;
    goto task_done;

drop_the_rest:
#ifndef BROKEN_KEEP_WAITING
    do
    :: waiting?work(mark) ->
#ifdef BROKEN_DROPPED_IS_ANSWERED
        if
        :: work == stop -> system_service_exec(callback, mark)
        :: else
        fi;
#endif
        drop(HOLD)
    :: empty(waiting) -> break
    od;
#endif
    if
    :: asleep -> asleep = false; end_interval()
    :: else
    fi;
    system_service_exec(release_player, false);
    drop(HOLD); /* the completion's */
    thread_ended = true
}

init
{
    atomic {
        run application(CALLS_1);
        run application(CALLS_2);
        run system_service();
        run players_thread()
    }
}
