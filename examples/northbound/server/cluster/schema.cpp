#include "server/cluster/schema.h"

#include <iterator>
#include <string>

#include "server/cluster/engineconnection.h"

namespace northbound {
namespace {

/// The steps from one version to the next; a step that was released never changes.
///
/// All times are the engine's clock_timestamp(): now() is that of the transaction's begin, and a session that has
/// waited for a lock would take a lease for younger than it is.
constexpr const char* STEPS[] = {R"sql(
-- Whoever accepts an order holds this row meanwhile, so that counting and inserting are one step.
CREATE TABLE nbi.gate (id boolean PRIMARY KEY DEFAULT true CHECK (id));
INSERT INTO nbi.gate DEFAULT VALUES;

CREATE TABLE nbi.collection (
    operation text PRIMARY KEY CHECK (length(operation) BETWEEN 1 AND 64),
    place bigint GENERATED ALWAYS AS IDENTITY,
    dn text NOT NULL CHECK (length(dn) <= 1000),
    element text NOT NULL CHECK (length(element) <= 1000),
    username text NOT NULL CHECK (length(username) <= 1000),
    interval_ms bigint NOT NULL CHECK (interval_ms > 0),
    duration_ms bigint NOT NULL CHECK (duration_ms >= 0),
    ordered_at timestamptz NOT NULL DEFAULT clock_timestamp(),
    phase smallint NOT NULL DEFAULT 0,      -- 0 waiting, 1 running, 2 ended
    cancelled boolean NOT NULL DEFAULT false,
    token bigint NOT NULL DEFAULT 0,        -- of the last claim
    holder text,
    lease_until timestamptz,
    taken bigint NOT NULL DEFAULT 0,
    ended_at timestamptz,
    end_code bigint,
    end_detail text CHECK (length(end_detail) <= 10000),
    end_file text CHECK (length(end_file) <= 10000),
    end_late bigint,
    end_increase text CHECK (length(end_increase) <= 100000)
);
CREATE INDEX collection_open ON nbi.collection (place) WHERE phase < 2;
CREATE INDEX collection_ended ON nbi.collection (ended_at) WHERE phase = 2;

CREATE TABLE nbi.part (
    operation text NOT NULL REFERENCES nbi.collection ON DELETE CASCADE,
    token bigint NOT NULL,
    server text NOT NULL,
    first bigint NOT NULL,
    taken bigint NOT NULL DEFAULT 0,
    claimed_at timestamptz NOT NULL DEFAULT clock_timestamp(),
    PRIMARY KEY (operation, token)
);

CREATE TABLE nbi.server (
    name text PRIMARY KEY CHECK (length(name) <= 1000),
    address text NOT NULL CHECK (length(address) <= 1000),
    version text NOT NULL CHECK (length(version) <= 1000),
    elements text[] NOT NULL,
    load bigint NOT NULL,
    lease_until timestamptz NOT NULL
);

-- Each statement of such a function sees what was committed before it began, also while it waited for the gate.
CREATE FUNCTION nbi.order_collection(p_operation text, p_dn text, p_element text, p_username text, p_interval bigint,
    p_duration bigint, p_overall bigint, p_per_port bigint) RETURNS text LANGUAGE plpgsql AS $$
DECLARE
    open_overall bigint;
    open_at_port bigint;
BEGIN
    PERFORM 1 FROM nbi.gate FOR UPDATE;
    IF EXISTS (SELECT 1 FROM nbi.collection c WHERE c.operation = p_operation) THEN
        RETURN 'known';
    END IF;
    SELECT count(*), count(*) FILTER (WHERE c.dn = p_dn) INTO open_overall, open_at_port
        FROM nbi.collection c WHERE c.phase < 2;
    IF open_overall >= p_overall OR (p_per_port > 0 AND open_at_port > p_per_port) THEN
        RETURN 'full';
    END IF;
    INSERT INTO nbi.collection (operation, dn, element, username, interval_ms, duration_ms)
        VALUES (p_operation, p_dn, p_element, p_username, p_interval, p_duration);
    RETURN 'accepted';
END $$;

CREATE FUNCTION nbi.claim_collection(p_server text, p_elements text[], p_operation text, p_lease bigint)
    RETURNS SETOF nbi.collection LANGUAGE plpgsql AS $$
DECLARE
    claimed nbi.collection;
BEGIN
    SELECT * INTO claimed FROM nbi.collection c
        WHERE c.phase < 2 AND c.element = ANY (p_elements) AND (p_operation = '' OR c.operation = p_operation)
            AND (c.phase = 0 OR c.lease_until < clock_timestamp())
        ORDER BY c.place LIMIT 1 FOR UPDATE SKIP LOCKED;
    IF NOT FOUND THEN
        RETURN;
    END IF;
    UPDATE nbi.collection c SET phase = 1, token = c.token + 1, holder = p_server,
            lease_until = clock_timestamp() + p_lease * interval '1 millisecond'
        WHERE c.operation = claimed.operation RETURNING * INTO claimed;
    INSERT INTO nbi.part (operation, token, server, first)
        VALUES (claimed.operation, claimed.token, p_server, claimed.taken);
    RETURN NEXT claimed;
END $$;

CREATE FUNCTION nbi.renew(p_server text, p_address text, p_version text, p_elements text[],
    p_operations text[], p_tokens bigint[], p_taken bigint[], p_lease bigint, p_keep bigint)
    RETURNS TABLE (held_operation text, held_token bigint, is_cancelled boolean) LANGUAGE plpgsql AS $$
DECLARE
    lease CONSTANT interval := p_lease * interval '1 millisecond';
BEGIN
    INSERT INTO nbi.server VALUES (p_server, p_address, p_version, p_elements, cardinality(p_operations),
            clock_timestamp() + lease)
        ON CONFLICT (name) DO UPDATE SET address = EXCLUDED.address, version = EXCLUDED.version,
            elements = EXCLUDED.elements, load = EXCLUDED.load, lease_until = EXCLUDED.lease_until;
    RETURN QUERY UPDATE nbi.collection c SET lease_until = clock_timestamp() + lease,
            taken = greatest(c.taken, mine.taken)
        FROM unnest(p_operations, p_tokens, p_taken) AS mine (operation, token, taken)
        WHERE c.operation = mine.operation AND c.token = mine.token AND c.phase = 1
        RETURNING c.operation, c.token, c.cancelled;
    UPDATE nbi.part p SET taken = greatest(p.taken, mine.taken - p.first)
        FROM unnest(p_operations, p_tokens, p_taken) AS mine (operation, token, taken), nbi.collection c
        WHERE p.operation = mine.operation AND p.token = mine.token
            AND c.operation = mine.operation AND c.token = mine.token AND c.phase = 1;
    DELETE FROM nbi.collection c
        WHERE c.phase = 2 AND c.ended_at < clock_timestamp() - p_keep * interval '1 millisecond';
    DELETE FROM nbi.server s
        WHERE s.lease_until < clock_timestamp() - p_keep * interval '1 millisecond';
END $$;

-- What a server gives back waits for the next one, which goes on behind the samples that are told here.
CREATE FUNCTION nbi.leave(p_server text, p_operations text[], p_tokens bigint[], p_taken bigint[])
    RETURNS void LANGUAGE sql AS $$
    UPDATE nbi.part p SET taken = greatest(p.taken, mine.taken - p.first)
        FROM unnest(p_operations, p_tokens, p_taken) AS mine (operation, token, taken), nbi.collection c
        WHERE p.operation = mine.operation AND p.token = mine.token
            AND c.operation = mine.operation AND c.token = mine.token AND c.phase = 1;
    UPDATE nbi.collection c SET phase = 0, holder = NULL, lease_until = NULL, taken = greatest(c.taken, mine.taken)
        FROM unnest(p_operations, p_tokens, p_taken) AS mine (operation, token, taken)
        WHERE c.operation = mine.operation AND c.token = mine.token AND c.phase = 1;
    DELETE FROM nbi.server WHERE name = p_server;
$$;

CREATE FUNCTION nbi.finish_collection(p_operation text, p_token bigint, p_taken bigint, p_code bigint, p_detail text,
    p_file text, p_late bigint, p_increase text) RETURNS boolean LANGUAGE plpgsql AS $$
BEGIN
    UPDATE nbi.collection c SET phase = 2, ended_at = clock_timestamp(), taken = greatest(c.taken, p_taken),
            end_code = p_code, end_detail = p_detail, end_file = p_file, end_late = p_late, end_increase = p_increase
        WHERE c.operation = p_operation AND c.token = p_token AND c.phase = 1;
    IF FOUND THEN
        UPDATE nbi.part p SET taken = greatest(p.taken, p_taken - p.first)
            WHERE p.operation = p_operation AND p.token = p_token;
        RETURN true;
    END IF;
    RETURN EXISTS (SELECT 1 FROM nbi.collection c
        WHERE c.operation = p_operation AND c.token = p_token AND c.token > 0 AND c.phase = 2);
END $$;

CREATE FUNCTION nbi.cancel_collection(p_operation text, p_code bigint) RETURNS void LANGUAGE sql AS $$
    UPDATE nbi.collection SET cancelled = true,
            phase = CASE phase WHEN 0 THEN 2 ELSE phase END,
            ended_at = CASE phase WHEN 0 THEN clock_timestamp() END,
            end_code = CASE phase WHEN 0 THEN p_code END
        WHERE operation = p_operation AND phase < 2
$$;
)sql"};
static_assert(std::size(STEPS) == SCHEMA_VERSION);

/// In one transaction with all steps. The lock is one of the transaction's, and ends with it however it ends.
constexpr const char* BEFORE_STEPS = R"sql(
SELECT pg_advisory_xact_lock(5632810973410229);
CREATE SCHEMA IF NOT EXISTS nbi;
CREATE TABLE IF NOT EXISTS nbi.schema (version integer NOT NULL);
)sql";

/// A step runs only where the version is the one before it. Its text is quoted by "$step$", which none contains.
std::string Guarded(int nVersion, const std::string& step)
{
    const std::string version = std::to_string(nVersion);
    return "DO $migrate$ BEGIN IF (SELECT coalesce(max(version), 0) FROM nbi.schema) = " +
           std::to_string(nVersion - 1) + " THEN EXECUTE $step$" + step +
           "$step$; DELETE FROM nbi.schema; INSERT INTO nbi.schema VALUES (" + version +
           "); END IF; END $migrate$;\n";
}

/// The last word: nothing was done to a database of a newer version, and the caller hears of it.
std::string RefuseNewer()
{
    const std::string version = std::to_string(SCHEMA_VERSION);
    return "DO $migrate$ BEGIN IF (SELECT max(version) FROM nbi.schema) <> " + version +
           " THEN RAISE EXCEPTION 'the schema of the database has version %, and this program knows it up "
           "to " +
           version + "', (SELECT max(version) FROM nbi.schema); END IF; END $migrate$";
}

}  // namespace

SchemaState StateOfSchema(EngineConnection& connection)
{
    const Rows there = connection.Execute("SELECT 1 WHERE to_regclass('nbi.schema') IS NOT NULL");
    if (there.empty()) return SchemaState::NONE;
    const Rows rows = connection.Execute("SELECT coalesce(max(version), 0) FROM nbi.schema");
    const int nVersion = std::stoi(rows.at(0).at(0).value());
    if (nVersion == SCHEMA_VERSION) return SchemaState::CURRENT;
    return nVersion < SCHEMA_VERSION ? SchemaState::OLDER : SchemaState::NEWER;
}

void MigrateSchema(EngineConnection& connection)
{
    std::string script = BEFORE_STEPS;
    int nVersion = 0;
    for (const char* const pStep : STEPS) script += Guarded(++nVersion, pStep);
    connection.ExecuteScript(script + RefuseNewer());
}

}  // namespace northbound
